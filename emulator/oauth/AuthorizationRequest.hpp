#pragma once

#include <string>
#include <string_view>

#include "oauth/Grants.hpp"
#include "text/Parameters.hpp"

namespace corvane::emulator {

/// A checked request to the authorization page.
struct AuthorizationRequest {
  std::string redirectURI;
  std::string state;
  std::string codeChallenge;
  std::string nonce;
  std::string loginHint;
  Scopes scopes;  ///< in the long form in which Google grants them

  /// Throws OAuthError. Google shows every such error on its own page and redirects nowhere.
  static AuthorizationRequest parse(std::string_view query, std::string_view clientID);
};

bool isDriveScope(std::string_view scope);
/// Separates at spaces; `email` and `profile` become their long forms.
Scopes scopesFrom(std::string_view text);
std::string joined(const Scopes& scopes);

}  // namespace corvane::emulator
