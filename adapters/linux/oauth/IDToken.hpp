#pragma once

#include <Corvane/NSError.hpp>
#include <Corvane/Result.hpp>
#include <Corvane/Secret.hpp>

#include <chrono>
#include <string>

namespace corvane {

/// Who signed in, as the id_token tells (OpenID Connect Core 2).
struct IDToken {
  std::string subject;
  std::string email;  // empty when absent
};

/// What the id_token of this very sign-in must say.
struct IDTokenExpectation {
  std::string clientID;
  std::string issuer;
  Secret nonce;
  std::chrono::sys_seconds now;
};

/// Reads and checks an id_token: audience, issuer, expiry and nonce.
///
/// Its signature is not checked: the token came straight from the token endpoint over TLS, whose certificate
/// vouches for the sender just as well (OpenID Connect Core 3.1.3.7, point 6). Never hand in one that came by
/// another way.
///
/// Errors: domain "org.openid.appauth.general", -14 when it cannot be read, -15 when it is not for this
/// sign-in.
Result<IDToken, NSError> readIDToken(const Secret& token, const IDTokenExpectation& expected);

}  // namespace corvane
