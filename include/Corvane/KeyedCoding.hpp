#pragma once

#include <Corvane/AnyError.hpp>
#include <Corvane/CodingKey.hpp>
#include <Corvane/Date.hpp>
#include <Corvane/DecodingError.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

/// Keyed coding: how records are written to, and read from, any format that has objects and lists.
///
/// A record opens a keyed container on the coder it is given and reads or writes one value per key. A host
/// may bring a coder of its own by implementing these four containers and two coders. Not for use from two
/// threads at once. Errors are thrown, as AnyError: the coder's own; a decoder's are a DecodingError.
namespace corvane {

class Encoder;
class Decoder;

class KeyedEncodingContainer {
 public:
  virtual ~KeyedEncodingContainer() = default;
  virtual void encode(std::string_view text, const CodingKey& key) = 0;
  virtual void encode(bool flag, const CodingKey& key) = 0;
  virtual void encode(std::int64_t number, const CodingKey& key) = 0;
  virtual void encode(Date date, const CodingKey& key) = 0;
  /// `content` writes the nested object or list.
  virtual void encodeNested(const CodingKey& key, const std::function<void(Encoder&)>& content) = 0;

  void encode(const char* text, const CodingKey& key) { encode(std::string_view(text), key); }
};

class UnkeyedEncodingContainer {
 public:
  virtual ~UnkeyedEncodingContainer() = default;
  virtual void encode(std::string_view text) = 0;
  virtual void encodeNested(const std::function<void(Encoder&)>& content) = 0;
};

/// Takes one value: the first container opened on it decides whether that is an object or a list. Containers
/// are owned by the caller and used before the encoder goes.
class Encoder {
 public:
  virtual ~Encoder() = default;
  virtual std::unique_ptr<KeyedEncodingContainer> keyedContainer() = 0;
  virtual std::unique_ptr<UnkeyedEncodingContainer> unkeyedContainer() = 0;
};

class KeyedDecodingContainer {
 public:
  virtual ~KeyedDecodingContainer() = default;
  /// Whether the key is there, be its value null or not.
  virtual bool contains(const CodingKey& key) const = 0;
  /// Whether the value is null; fails with keyNotFound when the key is missing, as all that follow.
  virtual bool decodeNil(const CodingKey& key) const = 0;
  virtual std::string decodeText(const CodingKey& key) const = 0;
  virtual bool decodeBoolean(const CodingKey& key) const = 0;
  virtual std::int64_t decodeInteger(const CodingKey& key) const = 0;
  virtual Date decodeDate(const CodingKey& key) const = 0;
  /// A decoder over the nested value; null fails with valueNotFound.
  virtual std::unique_ptr<Decoder> decodeNested(const CodingKey& key) const = 0;
};

/// Reads a list from front to back.
class UnkeyedDecodingContainer {
 public:
  virtual ~UnkeyedDecodingContainer() = default;
  virtual bool isAtEnd() const = 0;
  virtual std::string decodeText() = 0;
  virtual std::unique_ptr<Decoder> decodeNested() = 0;
};

/// Gives one value out: as an object or as a list, else typeMismatch.
class Decoder {
 public:
  virtual ~Decoder() = default;
  virtual std::unique_ptr<KeyedDecodingContainer> keyedContainer() const = 0;
  virtual std::unique_ptr<UnkeyedDecodingContainer> unkeyedContainer() const = 0;
};

}  // namespace corvane
