#include "support/PlainCoder.hpp"

namespace corvane::test {

namespace {

class KeyedEncoding final : public KeyedEncodingContainer {
 public:
  explicit KeyedEncoding(PlainValue::Object& object) : object_(object) {}
  void encode(std::string_view text, const CodingKey& key) override { add(key, std::string(text)); }
  void encode(bool flag, const CodingKey& key) override { add(key, flag); }
  void encode(std::int64_t number, const CodingKey& key) override { add(key, number); }
  void encode(Date date, const CodingKey& key) override { add(key, date); }
  void encodeNested(const CodingKey& key, const std::function<void(Encoder&)>& content) override {
    PlainValue nested;
    PlainEncoder encoder(nested);
    content(encoder);
    object_.emplace_back(std::string(key.stringValue()), std::move(nested));
  }

 private:
  template <class Content>
  void add(const CodingKey& key, Content content) {
    object_.emplace_back(std::string(key.stringValue()), PlainValue{std::move(content)});
  }
  PlainValue::Object& object_;
};

class UnkeyedEncoding final : public UnkeyedEncodingContainer {
 public:
  explicit UnkeyedEncoding(PlainValue::List& list) : list_(list) {}
  void encode(std::string_view text) override { list_.push_back({std::string(text)}); }
  void encodeNested(const std::function<void(Encoder&)>& content) override {
    PlainValue nested;
    PlainEncoder encoder(nested);
    content(encoder);
    list_.push_back(std::move(nested));
  }

 private:
  PlainValue::List& list_;
};

[[noreturn]] void fail(DecodingError::Case which, std::string path, std::string description) {
  throw AnyError(DecodingError(which, std::move(path), std::move(description)));
}

template <class Content>
const Content& require(const PlainValue& value, const std::string& path) {
  if (std::holds_alternative<std::nullptr_t>(value.content))
    fail(DecodingError::Case::valueNotFound, path, "null where a value is due");
  const auto* content = std::get_if<Content>(&value.content);
  if (!content) fail(DecodingError::Case::typeMismatch, path, "a value of another kind");
  return *content;
}

class KeyedDecoding final : public KeyedDecodingContainer {
 public:
  KeyedDecoding(std::shared_ptr<const PlainValue> value, std::string path)
      : value_(std::move(value)),
        path_(std::move(path)),
        object_(require<PlainValue::Object>(*value_, path_)) {}

  bool contains(const CodingKey& key) const override { return find(key) != nullptr; }
  bool decodeNil(const CodingKey& key) const override {
    return std::holds_alternative<std::nullptr_t>(at(key).content);
  }
  std::string decodeText(const CodingKey& key) const override {
    return require<std::string>(at(key), path(key));
  }
  bool decodeBoolean(const CodingKey& key) const override { return require<bool>(at(key), path(key)); }
  std::int64_t decodeInteger(const CodingKey& key) const override {
    return require<std::int64_t>(at(key), path(key));
  }
  Date decodeDate(const CodingKey& key) const override { return require<Date>(at(key), path(key)); }
  std::unique_ptr<Decoder> decodeNested(const CodingKey& key) const override {
    const auto& nested = at(key);
    if (std::holds_alternative<std::nullptr_t>(nested.content))
      fail(DecodingError::Case::valueNotFound, path(key), "null where a value is due");
    return std::make_unique<PlainDecoder>(nested, path(key));
  }

 private:
  const PlainValue* find(const CodingKey& key) const {
    for (const auto& [name, value] : object_)
      if (name == key.stringValue()) return &value;
    return nullptr;
  }
  const PlainValue& at(const CodingKey& key) const {
    const auto* value = find(key);
    if (!value) fail(DecodingError::Case::keyNotFound, path(key), "no such key");
    return *value;
  }
  std::string path(const CodingKey& key) const {
    return (path_.empty() ? "" : path_ + ".") + std::string(key.stringValue());
  }

  std::shared_ptr<const PlainValue> value_;
  std::string path_;
  const PlainValue::Object& object_;
};

class UnkeyedDecoding final : public UnkeyedDecodingContainer {
 public:
  UnkeyedDecoding(std::shared_ptr<const PlainValue> value, std::string path)
      : value_(std::move(value)), path_(std::move(path)), list_(require<PlainValue::List>(*value_, path_)) {}
  bool isAtEnd() const override { return next_ == list_.size(); }
  std::string decodeText() override {
    const auto path = elementPath();
    return require<std::string>(list_.at(next_++), path);
  }
  std::unique_ptr<Decoder> decodeNested() override {
    const auto path = elementPath();
    return std::make_unique<PlainDecoder>(list_.at(next_++), path);
  }

 private:
  std::string elementPath() const { return path_ + "[" + std::to_string(next_) + "]"; }

  std::shared_ptr<const PlainValue> value_;
  std::string path_;
  const PlainValue::List& list_;
  std::size_t next_ = 0;
};

}  // namespace

std::unique_ptr<KeyedEncodingContainer> PlainEncoder::keyedContainer() {
  target_.content = PlainValue::Object{};
  return std::make_unique<KeyedEncoding>(std::get<PlainValue::Object>(target_.content));
}

std::unique_ptr<UnkeyedEncodingContainer> PlainEncoder::unkeyedContainer() {
  target_.content = PlainValue::List{};
  return std::make_unique<UnkeyedEncoding>(std::get<PlainValue::List>(target_.content));
}

std::unique_ptr<KeyedDecodingContainer> PlainDecoder::keyedContainer() const {
  return std::make_unique<KeyedDecoding>(value_, codingPath_);
}

std::unique_ptr<UnkeyedDecodingContainer> PlainDecoder::unkeyedContainer() const {
  return std::make_unique<UnkeyedDecoding>(value_, codingPath_);
}

}  // namespace corvane::test
