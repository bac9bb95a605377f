#pragma once

#include <Corvane/Secret.hpp>

#include <string>

namespace corvane {

/// Proof Key for Code Exchange (RFC 7636), method S256.
///
/// The problem: a native app's redirect goes through the user's browser, and another program may get hold of
/// the code in it. The idea: the sign-in page is told only the hash of a secret, the exchange must show the
/// secret itself, so a stolen code is worth nothing to a thief, and a code slipped in from another sign-in is
/// refused. The cost: one hash.
struct PKCE {
  Secret verifier;
  std::string challenge;

  /// A fresh pair; the verifier is 32 random bytes in 43 characters (RFC 7636 section 4.1).
  static PKCE make();

  /// BASE64URL(SHA256(verifier)) (RFC 7636 section 4.2).
  static std::string challengeFor(const Secret& verifier);
};

}  // namespace corvane
