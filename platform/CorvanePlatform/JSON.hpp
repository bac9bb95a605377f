#pragma once

#include <Corvane/Data.hpp>
#include <Corvane/KeyedCoding.hpp>

#include <functional>
#include <memory>
#include <string>

namespace corvane {

/// The platform's JSON coder with default settings: a point in time is a number of seconds since 2001-01-01
/// UTC, written with up to six decimals and read decimally, so that an instant survives.
///
/// Threads: any.
/// Errors: a DecodingError when the document cannot be read or does not fit; the first duplicate of a key
/// counts.
class JSON {
 public:
  virtual ~JSON() = default;

  /// A decoder over the whole document; it owns what it needs of it.
  virtual std::unique_ptr<Decoder> decoder(const Data& document) const = 0;
  /// The document that `encode` writes into the encoder it is given, on one line.
  virtual std::string encode(const std::function<void(Encoder&)>& encode) const = 0;

  template <class Value>
  Value decode(const Data& document) const {
    const auto source = decoder(document);
    return Value::decode(*source);
  }

  template <class Value>
  std::string encoded(const Value& value) const {
    return encode([&value](Encoder& encoder) { value.encode(encoder); });
  }
};

}  // namespace corvane
