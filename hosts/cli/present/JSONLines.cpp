#include "JSONLines.hpp"

#include "Escape.hpp"
#include "Times.hpp"

#include <memory>
#include <utility>

namespace corvane::cli {
namespace {

std::string unicodeEscape(std::uint32_t unit) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string out = "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += digits[(unit >> shift) & 0xF];
  return out;
}

std::string escapedForJSON(std::uint32_t character) {
  switch (character) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      break;
  }
  if (character < 0x10000) return unicodeEscape(character);
  const std::uint32_t offset = character - 0x10000;  // a surrogate pair, RFC 8259 section 7
  return unicodeEscape(0xD800 + (offset >> 10)) + unicodeEscape(0xDC00 + (offset & 0x3FF));
}

class LineEncoder final : public Encoder {
 public:
  explicit LineEncoder(std::string& out) : out_(out) {}
  std::unique_ptr<KeyedEncodingContainer> keyedContainer() override;
  std::unique_ptr<UnkeyedEncodingContainer> unkeyedContainer() override;

 private:
  std::string& out_;
};

class KeyedLine final : public KeyedEncodingContainer {
 public:
  explicit KeyedLine(std::string& out) : out_(out) { out_ += '{'; }
  KeyedLine(const KeyedLine&) = delete;
  KeyedLine& operator=(const KeyedLine&) = delete;
  ~KeyedLine() override { out_ += '}'; }

  void encode(std::string_view text, const CodingKey& key) override { at(key) += jsonText(text); }
  void encode(bool flag, const CodingKey& key) override { at(key) += flag ? "true" : "false"; }
  void encode(std::int64_t number, const CodingKey& key) override { at(key) += std::to_string(number); }
  void encode(Date date, const CodingKey& key) override { at(key) += jsonText(rfc3339(date)); }
  void encodeNested(const CodingKey& key, const std::function<void(Encoder&)>& content) override {
    LineEncoder nested(at(key));
    content(nested);
  }

 private:
  std::string& at(const CodingKey& key) {
    if (!std::exchange(first_, false)) out_ += ',';
    out_ += jsonText(key.stringValue());
    out_ += ':';
    return out_;
  }

  std::string& out_;
  bool first_ = true;
};

class UnkeyedLine final : public UnkeyedEncodingContainer {
 public:
  explicit UnkeyedLine(std::string& out) : out_(out) { out_ += '['; }
  UnkeyedLine(const UnkeyedLine&) = delete;
  UnkeyedLine& operator=(const UnkeyedLine&) = delete;
  ~UnkeyedLine() override { out_ += ']'; }

  void encode(std::string_view text) override { next() += jsonText(text); }
  void encodeNested(const std::function<void(Encoder&)>& content) override {
    LineEncoder nested(next());
    content(nested);
  }

 private:
  std::string& next() {
    if (!std::exchange(first_, false)) out_ += ',';
    return out_;
  }

  std::string& out_;
  bool first_ = true;
};

std::unique_ptr<KeyedEncodingContainer> LineEncoder::keyedContainer() {
  return std::make_unique<KeyedLine>(out_);
}
std::unique_ptr<UnkeyedEncodingContainer> LineEncoder::unkeyedContainer() {
  return std::make_unique<UnkeyedLine>(out_);
}

}  // namespace

std::string encodedLine(const std::function<void(Encoder&)>& encode) {
  std::string line;
  LineEncoder encoder(line);
  encode(encoder);
  return line;
}

std::string jsonObject(const std::function<void(KeyedEncodingContainer&)>& fill) {
  return encodedLine([&fill](Encoder& encoder) { fill(*encoder.keyedContainer()); });
}

std::string jsonText(std::string_view text) {
  std::string out = "\"";
  out.reserve(text.size() + 2);
  while (!text.empty()) {
    const TextPiece piece = takePiece(text);
    if (piece.character < 0) {
      out += "\uFFFD";
    } else if (piece.character == '"' || piece.character == '\\') {
      out += '\\';
      out += piece.bytes;
    } else if (isHostile(piece.character)) {
      out += escapedForJSON(static_cast<std::uint32_t>(piece.character));
    } else {
      out += piece.bytes;
    }
  }
  return out + '"';
}

}  // namespace corvane::cli
