#include "Base64URL.hpp"

#include <sodium.h>

namespace corvane {

namespace {
constexpr int variant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
}

std::string encodeBase64URL(const Data& bytes) {
  std::string text(sodium_base64_encoded_len(bytes.size(), variant), '\0');
  sodium_bin2base64(text.data(), text.size(), reinterpret_cast<const unsigned char*>(bytes.data()),
                    bytes.size(), variant);
  text.pop_back();  // the terminating NUL
  return text;
}

std::optional<Data> decodeBase64URL(std::string_view text) {
  Data bytes(text.size() / 4 * 3 + 3);
  std::size_t size = 0;
  if (sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), text.data(),
                        text.size(), nullptr, &size, nullptr, variant) != 0)
    return std::nullopt;
  bytes.resize(size);
  return bytes;
}

}  // namespace corvane
