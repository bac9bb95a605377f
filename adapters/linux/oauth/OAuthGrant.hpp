#pragma once

#include <Corvane/Secret.hpp>

#include <chrono>
#include <string>
#include <vector>

namespace corvane {

/// All that a signed-in account consists of: what a session works with and an archive keeps.
struct OAuthGrant {
  std::string clientID;
  Secret clientSecret;
  /// The token endpoint that issued the tokens, and the Drive that they are for. Neither token goes
  /// elsewhere.
  std::string tokenEndpoint;
  std::string driveAddress;
  Secret accessToken;
  std::chrono::sys_seconds accessTokenExpiry;
  Secret refreshToken;
  std::vector<std::string> scopes;
  /// Empty when the sign-in did not tell it.
  std::string email;
  /// The account's only stable identifier (OpenID Connect Core 2, `sub`).
  std::string subject;
};

}  // namespace corvane
