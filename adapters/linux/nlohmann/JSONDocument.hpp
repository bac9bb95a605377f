#pragma once

#include <Corvane/Data.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// A text that is wiped when dropped: credentials come through here.
using WipedText = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;

/// A parsed JSON value. Unlike the library's own it keeps a number's text, from which decimals are read exactly, and
/// every member in the document's order, so that the first of a key counts.
struct JSONValue {
  enum class Kind { null, boolean, number, text, list, object };

  Kind kind = Kind::null;
  bool flag = false;
  WipedText text;                 // a text, or a number as it was written
  std::vector<std::string> keys;  // of an object, beside `elements`
  // Of a list or an object. Wiped as well, since short texts lie within the values.
  std::vector<JSONValue, WipingAllocator<JSONValue>> elements;

  /// The first member of that name, or null; of an object.
  const JSONValue* member(std::string_view key) const;
};

/// "an object", "a number", ...
std::string_view kindName(JSONValue::Kind kind);

/// The document as a value. Throws a DecodingError, dataCorrupted, that says where it went wrong, never what was there.
JSONValue parseJSON(std::string_view document);

}  // namespace corvane
