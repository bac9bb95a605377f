#include "PKCE.hpp"

#include "Base64URL.hpp"
#include "RandomText.hpp"

#include <sodium.h>

#include <utility>

namespace corvane {

PKCE PKCE::make() {
  Secret verifier = randomText(32);
  std::string challenge = challengeFor(verifier);
  return {std::move(verifier), std::move(challenge)};
}

std::string PKCE::challengeFor(const Secret& verifier) {
  const auto text = verifier.reveal();
  Data hash(crypto_hash_sha256_BYTES);
  crypto_hash_sha256(reinterpret_cast<unsigned char*>(hash.data()),
                     reinterpret_cast<const unsigned char*>(text.data()), text.size());
  return encodeBase64URL(hash);
}

}  // namespace corvane
