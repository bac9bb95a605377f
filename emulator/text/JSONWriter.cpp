#include "text/JSONWriter.hpp"

namespace corvane::emulator {

void JSONWriter::beginObject() {
  if (!text_.empty()) separate();
  open('{', *masks_.back());
}

bool JSONWriter::beginObject(std::string_view key) {
  if (!member(key)) return false;
  open('{', masks_.back()->inside(key));
  return true;
}

bool JSONWriter::beginArray(std::string_view key) {
  if (!member(key)) return false;
  open('[', masks_.back()->inside(key));
  return true;
}

void JSONWriter::string(std::string_view key, std::string_view value) {
  if (member(key)) quoted(value);
}

void JSONWriter::boolean(std::string_view key, bool value) {
  if (member(key)) text_ += value ? "true" : "false";
}

void JSONWriter::number(std::string_view key, std::int64_t value) {
  if (member(key)) text_ += std::to_string(value);
}

void JSONWriter::element(std::string_view value) {
  separate();
  quoted(value);
}

bool JSONWriter::member(std::string_view key) {
  if (!wants(key)) return false;
  separate();
  quoted(key);
  text_ += pretty_ ? ": " : ":";
  return true;
}

void JSONWriter::separate() {
  if (!first_) text_ += ',';
  first_ = false;
  newLine();
}

void JSONWriter::open(char bracket, const FieldMask& mask) {
  text_ += bracket;
  masks_.push_back(&mask);
  first_ = true;
}

void JSONWriter::end(char bracket) {
  masks_.pop_back();
  if (!first_) newLine();
  text_ += bracket;
  first_ = false;
}

void JSONWriter::newLine() {
  if (!pretty_) return;
  text_ += '\n';
  text_.append(2 * (masks_.size() - 1), ' ');
}

void JSONWriter::quoted(std::string_view value) {
  constexpr std::string_view digits = "0123456789abcdef";
  text_ += '"';
  for (const char c : value) {
    switch (c) {
      case '"':
        text_ += "\\\"";
        break;
      case '\\':
        text_ += "\\\\";
        break;
      case '\n':
        text_ += "\\n";
        break;
      case '\r':
        text_ += "\\r";
        break;
      case '\t':
        text_ += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          text_ += "\\u00";
          text_ += {digits[static_cast<unsigned char>(c) >> 4U], digits[static_cast<unsigned char>(c) & 15U]};
        } else {
          text_ += c;
        }
    }
  }
  text_ += '"';
}

}  // namespace corvane::emulator
