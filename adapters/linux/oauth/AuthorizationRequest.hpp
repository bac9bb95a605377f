#pragma once

#include "PKCE.hpp"

#include <Corvane/Secret.hpp>

#include <string>
#include <string_view>

namespace corvane {

/// The scope without which nothing here works.
inline constexpr std::string_view driveScope = "https://www.googleapis.com/auth/drive";

/// What one sign-in asks for, and the secrets that tie every later step to it: each made fresh, each used
/// once.
struct AuthorizationRequest {
  std::string clientID;
  std::string redirectURI;
  std::string loginHint;  // empty for none
  PKCE pkce = PKCE::make();
  Secret state;  // 128 bits or more (RFC 6749 section 10.12), likewise the nonce (OpenID Connect Core 15.5.2)
  Secret nonce;

  AuthorizationRequest(std::string client, std::string redirect, std::string hint);

  /// The page to open in the browser (RFC 6749 section 4.1.1; Google's guide for installed apps).
  std::string url(std::string_view endpoint) const;

  /// The form that exchanges the code for tokens (RFC 6749 section 4.1.3, RFC 7636 section 4.5).
  Data exchangeForm(const Secret& code, const Secret& clientSecret) const;
};

}  // namespace corvane
