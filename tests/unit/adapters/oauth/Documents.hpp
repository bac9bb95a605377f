#pragma once

#include "oauth/Base64URL.hpp"

#include <Corvane/Data.hpp>

#include <nlohmann/json.hpp>

#include <chrono>
#include <string>

namespace corvane::test {

using JSONDocument = nlohmann::json;

inline constexpr auto clientID = "client-1";
inline constexpr auto issuer = "https://accounts.google.com";
inline constexpr auto driveScopeText = "https://www.googleapis.com/auth/drive";

/// An id_token with these claims; nobody here looks at the signature.
inline std::string idToken(const JSONDocument& claims) {
  return encodeBase64URL(dataFromText(R"({"alg":"RS256","typ":"JWT"})")) + "." +
         encodeBase64URL(dataFromText(claims.dump())) + "." + encodeBase64URL(dataFromText("signature"));
}

inline JSONDocument goodClaims(const std::string& nonce, std::chrono::sys_seconds now) {
  return {{"iss", issuer},
          {"aud", clientID},
          {"azp", clientID},
          {"sub", "1234567890"},
          {"email", "ada@example.com"},
          {"email_verified", true},
          {"nonce", nonce},
          {"iat", now.time_since_epoch().count()},
          {"exp", now.time_since_epoch().count() + 3600}};
}

inline JSONDocument goodTokens(const std::string& token) {
  return {{"access_token", "access-token-of-the-exchange"},
          {"expires_in", 3599},
          {"refresh_token", "refresh-token-of-the-exchange"},
          {"scope", std::string("openid email ") + driveScopeText},
          {"token_type", "Bearer"},
          {"id_token", token}};
}

}  // namespace corvane::test
