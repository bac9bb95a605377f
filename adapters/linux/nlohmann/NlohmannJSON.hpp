#pragma once

#include <CorvanePlatform/JSON.hpp>

namespace corvane {

/// The platform's JSON coder for small documents: credentials, records, archives.
///
/// Reading is strict: one document, UTF-8 throughout (a byte order mark is skipped, RFC 8259 section 8.1), nested 512
/// deep at most. A number with an integral value reads as an integer, however it is written. A point in time with
/// more than six decimals is rounded to the nearest microsecond, halves away from zero.
/// Writing fails with "NSCocoaErrorDomain" 4866 when a text is not UTF-8 or a value was left out.
class NlohmannJSON final : public JSON {
 public:
  std::unique_ptr<Decoder> decoder(const Data& document) const override;
  std::string encode(const std::function<void(Encoder&)>& encode) const override;
};

}  // namespace corvane
