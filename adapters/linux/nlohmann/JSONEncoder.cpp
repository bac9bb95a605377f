// Writes as it is called, straight into the document: a value opens at its first container, members follow in the
// order they come, and the value closes when the function that writes it returns.
#include "nlohmann/JSONEncoder.hpp"

#include <nlohmann/json.hpp>

#include <array>
#include <charconv>
#include <cstdint>

namespace corvane {
namespace {

[[noreturn]] void failEncoding(std::string problem) {
  constexpr int invalidValue = 4866;  // NSCoderInvalidValueError
  throw AnyError(NSError("NSCocoaErrorDomain", invalidValue,
                         {{std::string(NSLocalizedDescriptionKey), UserInfoValue(std::move(problem))}}));
}

void writeText(std::string& document, std::string_view text) {
  try {
    document += nlohmann::json(text).dump();
  } catch (const nlohmann::json::exception&) {  // the library's message would show bytes of the text
    failEncoding("a text is not UTF-8 and cannot be written as JSON");
  }
}

void writeInteger(std::string& document, std::int64_t number) {
  std::array<char, 20> digits{};
  document.append(digits.begin(), std::to_chars(digits.begin(), digits.end(), number).ptr);
}

void writeDate(std::string& document, Date date) {
  constexpr std::int64_t perSecond = 1'000'000;
  constexpr std::int64_t referenceSeconds = referenceDate.time_since_epoch().count() / perSecond;
  // Split before the reference is subtracted: not every instant fits 64 bits as microseconds from there.
  const std::int64_t microseconds = date.time_since_epoch().count();
  std::int64_t fraction = microseconds % perSecond;
  std::int64_t count = microseconds / perSecond - referenceSeconds;
  if (fraction < 0) {
    --count;
    fraction += perSecond;
  }
  if (count < 0) document += '-';
  if (count < 0 && fraction > 0) {  // -0.25 is a second before, and three quarters on
    ++count;
    fraction = perSecond - fraction;
  }
  writeInteger(document, count < 0 ? -count : count);
  if (fraction == 0) return;
  std::string decimals = std::to_string(perSecond + fraction).substr(1);
  decimals.erase(decimals.find_last_not_of('0') + 1);
  document += '.' + decimals;
}

class ValueEncoder;

class ObjectWriter final : public KeyedEncodingContainer {
 public:
  explicit ObjectWriter(ValueEncoder& value) : value_(value) {}
  void encode(std::string_view text, const CodingKey& key) override { writeText(begin(key), text); }
  void encode(bool flag, const CodingKey& key) override { begin(key) += flag ? "true" : "false"; }
  void encode(std::int64_t number, const CodingKey& key) override { writeInteger(begin(key), number); }
  void encode(Date date, const CodingKey& key) override { writeDate(begin(key), date); }
  void encodeNested(const CodingKey& key, const std::function<void(Encoder&)>& content) override {
    writeJSON(begin(key), content);
  }

 private:
  std::string& begin(const CodingKey& key);
  ValueEncoder& value_;
};

class ListWriter final : public UnkeyedEncodingContainer {
 public:
  explicit ListWriter(ValueEncoder& value) : value_(value) {}
  void encode(std::string_view text) override { writeText(begin(), text); }
  void encodeNested(const std::function<void(Encoder&)>& content) override { writeJSON(begin(), content); }

 private:
  std::string& begin();
  ValueEncoder& value_;
};

class ValueEncoder final : public Encoder {
 public:
  explicit ValueEncoder(std::string& document) : document_(document) {}

  std::unique_ptr<KeyedEncodingContainer> keyedContainer() override {
    open('{', '}');
    return std::make_unique<ObjectWriter>(*this);
  }
  std::unique_ptr<UnkeyedEncodingContainer> unkeyedContainer() override {
    open('[', ']');
    return std::make_unique<ListWriter>(*this);
  }

  // The document, ready for the next member or element.
  std::string& next() {
    if (!empty_) document_ += ',';
    empty_ = false;
    return document_;
  }

  void close() {
    if (closing_ == 0) failEncoding("nothing was written where JSON needs a value");
    document_ += closing_;
  }

 private:
  void open(char opening, char closing) {
    if (closing_ != 0 && closing_ != closing) failEncoding("a value cannot be both an object and a list");
    if (closing_ == 0) document_ += opening;
    closing_ = closing;
  }

  std::string& document_;
  char closing_ = 0;
  bool empty_ = true;
};

std::string& ObjectWriter::begin(const CodingKey& key) {
  std::string& document = value_.next();
  writeText(document, key.stringValue());
  document += ':';
  return document;
}

std::string& ListWriter::begin() {
  return value_.next();
}

}  // namespace

void writeJSON(std::string& document, const std::function<void(Encoder&)>& encode) {
  ValueEncoder value(document);
  encode(value);
  value.close();
}

}  // namespace corvane
