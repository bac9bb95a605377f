#include "oauth/IDToken.hpp"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "text/Digest.hpp"

namespace corvane::emulator {
namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using BigNumber = std::unique_ptr<BIGNUM, decltype(&BN_free)>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

constexpr unsigned keyBits = 2048;
constexpr std::string_view keyID = "corvane-emulator";

EVP_PKEY* signingKey() {
  static const Key key(EVP_RSA_gen(keyBits), &EVP_PKEY_free);
  if (!key) throw std::runtime_error("OpenSSL cannot make an RSA key");
  return key.get();
}

std::string signature(std::string_view text) {
  const DigestContext context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  std::string bytes(keyBits / 8, '\0');
  std::size_t length = bytes.size();
  if (EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, signingKey()) != 1 ||
      EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(bytes.data()), &length,
                     reinterpret_cast<const unsigned char*>(text.data()), text.size()) != 1) {
    throw std::runtime_error("OpenSSL cannot sign");
  }
  bytes.resize(length);
  return bytes;
}

std::string keyNumber(const char* name) {
  BIGNUM* raw = nullptr;
  if (EVP_PKEY_get_bn_param(signingKey(), name, &raw) != 1) throw std::runtime_error("OpenSSL has no key");
  const BigNumber number(raw, &BN_free);
  std::string bytes(static_cast<std::size_t>(BN_num_bytes(number.get())), '\0');
  BN_bn2bin(number.get(), reinterpret_cast<unsigned char*>(bytes.data()));
  return base64URL(bytes);
}

bool has(const Scopes& scopes, std::string_view scope) {
  return std::ranges::find(scopes, scope) != scopes.end();
}

/// The left half of the token's hash (OIDC Core 3.1.3.6).
std::string accessTokenHash(std::string_view token) {
  const auto digest = sha256(token);
  return base64URL({reinterpret_cast<const char*>(digest.data()), digest.size() / 2});
}

}  // namespace

std::string idToken(const IssuedTokens& tokens, const User& user, std::string_view clientID, Instant now,
                    std::chrono::seconds lifetime, std::string_view claimsPatch) {
  const auto issued = std::chrono::duration_cast<std::chrono::seconds>(now.time_since_epoch()).count();
  nlohmann::ordered_json claims = {{"iss", "https://accounts.google.com"},
                                   {"azp", clientID},
                                   {"aud", clientID},
                                   {"sub", user.subject},
                                   {"at_hash", accessTokenHash(tokens.accessToken)}};
  if (has(tokens.scopes, "https://www.googleapis.com/auth/userinfo.email")) {
    claims["email"] = user.email;
    claims["email_verified"] = true;
  }
  if (has(tokens.scopes, "https://www.googleapis.com/auth/userinfo.profile"))
    claims["name"] = user.displayName;
  if (!tokens.nonce.empty()) claims["nonce"] = tokens.nonce;
  claims["iat"] = issued;
  claims["exp"] = issued + lifetime.count();
  claims.merge_patch(nlohmann::ordered_json::parse(claimsPatch));
  const nlohmann::ordered_json header = {{"alg", "RS256"}, {"kid", keyID}, {"typ", "JWT"}};
  const auto text = base64URL(header.dump()) + "." + base64URL(claims.dump());
  return text + "." + base64URL(signature(text));
}

std::string signingKeys() {
  const nlohmann::ordered_json key = {{"kty", "RSA"},
                                      {"alg", "RS256"},
                                      {"use", "sig"},
                                      {"kid", keyID},
                                      {"n", keyNumber(OSSL_PKEY_PARAM_RSA_N)},
                                      {"e", keyNumber(OSSL_PKEY_PARAM_RSA_E)}};
  nlohmann::ordered_json keys;
  keys["keys"] = nlohmann::ordered_json::array({key});
  return keys.dump(2);
}

}  // namespace corvane::emulator
