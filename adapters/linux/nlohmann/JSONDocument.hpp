#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// A parsed JSON value. Unlike the library's own it keeps a number's text, from which decimals are read exactly, and
/// every member in the document's order, so that the first of a key counts.
struct JSONValue {
  enum class Kind { null, boolean, number, text, list, object };

  Kind kind = Kind::null;
  bool flag = false;
  std::string text;                 // a text, or a number as it was written
  std::vector<std::string> keys;    // of an object, beside `elements`
  std::vector<JSONValue> elements;  // of a list or an object

  /// The first member of that name, or null; of an object.
  const JSONValue* member(std::string_view key) const;
};

/// "an object", "a number", ...
std::string_view kindName(JSONValue::Kind kind);

/// The document as a value. Throws a DecodingError, dataCorrupted, that says where it went wrong, never what was there.
JSONValue parseJSON(std::string_view document);

}  // namespace corvane
