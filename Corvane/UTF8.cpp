#include "UTF8.hpp"

#include <cstddef>

namespace corvane {

namespace {

// The length of a sequence by its first byte, and the range its second byte must be in (RFC 3629, section 4).
struct Lead {
  std::size_t length;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
};

Lead leadOf(unsigned char byte) {
  if (byte < 0x80) return {1};
  if (byte >= 0xC2 && byte <= 0xDF) return {2};
  if (byte == 0xE0) return {3, 0xA0};
  if (byte == 0xED) return {3, 0x80, 0x9F};
  if (byte >= 0xE1 && byte <= 0xEF) return {3};
  if (byte == 0xF0) return {4, 0x90};
  if (byte >= 0xF1 && byte <= 0xF3) return {4};
  if (byte == 0xF4) return {4, 0x80, 0x8F};
  return {0};
}

}  // namespace

bool isValidUTF8(std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size();) {
    const Lead lead = leadOf(static_cast<unsigned char>(bytes[i]));
    if (lead.length == 0 || lead.length > bytes.size() - i) return false;
    for (std::size_t k = 1; k < lead.length; ++k) {
      const auto byte = static_cast<unsigned char>(bytes[i + k]);
      const bool second = k == 1;
      if (byte < (second ? lead.low : 0x80) || byte > (second ? lead.high : 0xBF)) return false;
    }
    i += lead.length;
  }
  return true;
}

}  // namespace corvane
