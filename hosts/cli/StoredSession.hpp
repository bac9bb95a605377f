#pragma once

#include <Corvane/GoogleDriveAccountModel.hpp>
#include <CorvanePlatform/AuthSession.hpp>
#include <CorvanePlatform/Platform.hpp>

#include <memory>
#include <string>

namespace corvane::cli {

/// Where in the keychain this program's sessions are. Each `--google` has a service of its own, so
/// that a session goes only to the Google that issued it, and never takes the place of another
/// one's. No `google` is Google itself.
std::string keychainService(std::string google);
inline constexpr const char* keychainAccessGroup = "";

/// An account's session as it lies in the keychain, to look at. Throws an AnyError.
std::shared_ptr<AuthSession> storedSession(const Platform& platform, const std::string& service,
                                           const GoogleDriveAccountModel& account);

}  // namespace corvane::cli
