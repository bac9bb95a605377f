#pragma once

#include <Corvane/Data.hpp>
#include <Corvane/Result.hpp>
#include <Corvane/Secret.hpp>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// What the token endpoint answers with on success (RFC 6749 section 5.1, OpenID Connect Core 3.1.3.3).
struct TokenResponse {
  Secret accessToken;
  /// Between nothing and a day, whatever the server says; an hour, Google's usual, when it says nothing
  /// legible.
  std::chrono::seconds lifetime;
  /// Empty when there is none, as in the answer to most refreshes.
  Secret refreshToken;
  Secret idToken;
  /// Nothing when the server does not tell: then all that was asked for is granted (RFC 6749 section 5.1).
  std::optional<std::vector<std::string>> scopes;
};

/// The answer's content, or what is wrong with it, told without quoting it.
Result<TokenResponse, std::string> parseTokenResponse(const Data& body);

/// The words of a space-separated scope list.
std::vector<std::string> splitScopes(std::string_view text);

}  // namespace corvane
