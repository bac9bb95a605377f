#include "support/PlainJSON.hpp"

#include <charconv>
#include <optional>
#include <stdexcept>

namespace corvane::test {

namespace {

// Reads the JSON that the module's own tests write: objects, lists, plain texts, integers, booleans and null.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  PlainValue document() {
    auto value = readValue();
    skipBlanks();
    if (!rest_.empty()) fail();
    return value;
  }

 private:
  PlainValue readValue() {
    skipBlanks();
    if (take("{")) return readObject();
    if (take("[")) return readList();
    if (take("\"")) return {readText()};
    if (take("true")) return {true};
    if (take("false")) return {false};
    if (take("null")) return {nullptr};
    return readInteger();
  }

  PlainValue readObject() {
    PlainValue::Object object;
    skipBlanks();
    if (take("}")) return {std::move(object)};
    do {
      skipBlanks();
      expect("\"");
      auto key = readText();
      skipBlanks();
      expect(":");
      object.emplace_back(std::move(key), readValue());
      skipBlanks();
    } while (take(","));
    expect("}");
    return {std::move(object)};
  }

  PlainValue readList() {
    PlainValue::List list;
    skipBlanks();
    if (take("]")) return {std::move(list)};
    do {
      list.push_back(readValue());
      skipBlanks();
    } while (take(","));
    expect("]");
    return {std::move(list)};
  }

  std::string readText() {
    const auto end = rest_.find('"');
    if (end == std::string_view::npos || rest_.substr(0, end).find('\\') != std::string_view::npos) fail();
    std::string text(rest_.substr(0, end));
    rest_.remove_prefix(end + 1);
    return text;
  }

  PlainValue readInteger() {
    std::int64_t number = 0;
    const auto [end, problem] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    if (problem != std::errc{}) fail();
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return {number};
  }

  void skipBlanks() {
    while (!rest_.empty() && std::string_view(" \t\r\n").find(rest_.front()) != std::string_view::npos)
      rest_.remove_prefix(1);
  }
  bool take(std::string_view token) {
    if (!rest_.starts_with(token)) return false;
    rest_.remove_prefix(token.size());
    return true;
  }
  void expect(std::string_view token) {
    if (!take(token)) fail();
  }
  [[noreturn]] static void fail() {
    throw AnyError(
        DecodingError(DecodingError::Case::dataCorrupted, "", "not the JSON that these tests write"));
  }

  std::string_view rest_;
};

}  // namespace

std::unique_ptr<Decoder> PlainJSON::decoder(const Data& document) const {
  return std::make_unique<PlainDecoder>(Reader(textView(document)).document());
}

std::string PlainJSON::encode(const std::function<void(Encoder&)>&) const {
  throw std::logic_error("the module encodes nothing; tests of records use PlainEncoder");
}

}  // namespace corvane::test
