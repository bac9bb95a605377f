#pragma once

#include <Corvane/KeyedCoding.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace corvane::test {

/// A value as a keyed coder sees it: a plain tree that tests can write down and compare.
struct PlainValue {
  using Object = std::vector<std::pair<std::string, PlainValue>>;  // in the order written
  using List = std::vector<PlainValue>;
  std::variant<std::nullptr_t, bool, std::int64_t, std::string, Date, Object, List> content = nullptr;

  bool operator==(const PlainValue&) const = default;
};

/// A host's own coder, over plain values.
class PlainEncoder final : public Encoder {
 public:
  explicit PlainEncoder(PlainValue& target) : target_(target) {}
  std::unique_ptr<KeyedEncodingContainer> keyedContainer() override;
  std::unique_ptr<UnkeyedEncodingContainer> unkeyedContainer() override;

 private:
  PlainValue& target_;
};

class PlainDecoder final : public Decoder {
 public:
  explicit PlainDecoder(PlainValue value, std::string codingPath = {})
      : value_(std::make_shared<const PlainValue>(std::move(value))), codingPath_(std::move(codingPath)) {}
  std::unique_ptr<KeyedDecodingContainer> keyedContainer() const override;
  std::unique_ptr<UnkeyedDecodingContainer> unkeyedContainer() const override;

 private:
  std::shared_ptr<const PlainValue> value_;
  std::string codingPath_;
};

template <class Record>
PlainValue encodedPlainly(const Record& record) {
  PlainValue value;
  PlainEncoder encoder(value);
  record.encode(encoder);
  return value;
}

template <class Record>
Record decodedPlainly(const PlainValue& value) {
  return Record::decode(PlainDecoder(value));
}

}  // namespace corvane::test
