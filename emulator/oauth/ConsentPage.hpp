#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "drive/FileRenderer.hpp"
#include "oauth/Grants.hpp"

namespace corvane::emulator {

/// The page on which a person chooses an account and allows or denies. The account named by `loginHint` is
/// chosen beforehand, the first one otherwise.
std::string consentPage(const std::vector<User>& users, std::string_view loginHint, const Scopes& scopes,
                        std::string_view requestID);
std::string authorizationErrorPage(const OAuthError& error);

}  // namespace corvane::emulator
