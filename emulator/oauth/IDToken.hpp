#pragma once

#include <CorvaneEmulator/Options.hpp>
#include <string>

#include "drive/FileRenderer.hpp"
#include "oauth/Grants.hpp"

namespace corvane::emulator {

/// A signed id_token (OIDC Core 2) for the tokens just issued. The key is made anew in every process. The
/// claims are changed by the JSON merge patch at last, for tests of those who check them.
std::string idToken(const IssuedTokens& tokens, const User& user, std::string_view clientID, Instant now,
                    std::chrono::seconds lifetime, std::string_view claimsPatch);
/// The matching public key as a JWK set.
std::string signingKeys();

}  // namespace corvane::emulator
