#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "text/FieldMask.hpp"

namespace corvane::emulator {

/// Writes JSON text directly, leaving out what a field mask does not select. Pages of a thousand files
/// are written from scratch many times in a listing; building a tree of them first costs ten times as much.
class JSONWriter {
 public:
  JSONWriter(bool pretty, const FieldMask& mask) : pretty_(pretty) { masks_.push_back(&mask); }

  bool wants(std::string_view key) const { return masks_.back()->wants(key); }

  void beginObject();  ///< the root, or an element of an array
  /// False when the mask leaves the member out; its inside and its end must then be left out too.
  bool beginObject(std::string_view key);
  bool beginArray(std::string_view key);
  void endObject() { end('}'); }
  void endArray() { end(']'); }

  void string(std::string_view key, std::string_view value);
  void boolean(std::string_view key, bool value);
  void number(std::string_view key, std::int64_t value);
  /// Google writes 64 bit integers as strings.
  void int64(std::string_view key, std::int64_t value) { string(key, std::to_string(value)); }
  void element(std::string_view value);

  std::string take() { return std::move(text_); }

 private:
  bool member(std::string_view key);
  void separate();
  void open(char bracket, const FieldMask& mask);
  void end(char bracket);
  void newLine();
  void quoted(std::string_view value);

  bool pretty_;
  bool first_ = true;
  std::vector<const FieldMask*> masks_;
  std::string text_;
};

}  // namespace corvane::emulator
