#pragma once

#include <Corvane/GoogleDriveAccountModel.hpp>
#include <CorvanePlatform/AuthSession.hpp>
#include <CorvanePlatform/Platform.hpp>

#include <memory>

namespace corvane::cli {

/// Where in the keychain this program's sessions are.
inline constexpr const char* keychainService = "corvane";
inline constexpr const char* keychainAccessGroup = "";

/// An account's session as it lies in the keychain, to look at. Throws an AnyError.
std::shared_ptr<AuthSession> storedSession(const Platform& platform, const GoogleDriveAccountModel& account);

}  // namespace corvane::cli
