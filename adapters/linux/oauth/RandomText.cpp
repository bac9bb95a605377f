#include "RandomText.hpp"

#include "Base64URL.hpp"

#include <sodium.h>

namespace corvane {

Secret randomText(std::size_t bytes) {
  Data random(bytes);
  randombytes_buf(random.data(), random.size());
  std::string text = encodeBase64URL(random);
  Secret secret(text);
  wipeMemory(text.data(), text.size());
  return secret;
}

}  // namespace corvane
