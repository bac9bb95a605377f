#include "nlohmann/JSONDocument.hpp"

#include "BetweenBlanks.hpp"

#include <Corvane/AnyError.hpp>
#include <Corvane/DecodingError.hpp>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace corvane {
namespace {

// More than any document of ours; the tree is destroyed by recursion, which must not exhaust a stack.
constexpr std::size_t maximumDepth = 512;

using Events = nlohmann::basic_json<std::map, std::vector, WipedText>;

// Builds the tree from the library's events. It does not derive from the library's receiver, whose numbers come as
// `std::string` from the binary formats and as our own from JSON.
class TreeBuilder {
 public:
  explicit TreeBuilder(const BetweenBlanks& document) : document_(document) {}

  JSONValue root;
  std::string problem;

  bool null() {
    add(JSONValue::Kind::null);
    return true;
  }
  bool boolean(bool flag) {
    add(JSONValue::Kind::boolean).flag = flag;
    return true;
  }
  bool number_integer(std::int64_t value) { return number(std::to_string(value)); }
  bool number_unsigned(std::uint64_t value) { return number(std::to_string(value)); }
  bool number_float(double, std::string_view written) { return number(written); }
  bool string(WipedText& text) {
    add(JSONValue::Kind::text).text = text;
    return true;
  }
  bool binary(Events::binary_t&) { return false; }  // not in JSON

  bool start_object(std::size_t) { return open(JSONValue::Kind::object); }
  bool start_array(std::size_t) { return open(JSONValue::Kind::list); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }
  bool key(WipedText& name) {
    open_.back()->keys.emplace_back(name);
    return true;
  }

  bool parse_error(std::size_t position, const std::string&, const Events::exception& error) {
    constexpr int numberOutOfRange = 406;
    problem = error.id == numberOutOfRange ? "a number is out of range" : "not a JSON document";
    problem += " (byte " + std::to_string(document_.placeInDocument(position)) + ")";
    return false;
  }

 private:
  JSONValue& add(JSONValue::Kind kind) {
    JSONValue& value = open_.empty() ? root : open_.back()->elements.emplace_back();
    value.kind = kind;
    return value;
  }
  bool number(std::string_view written) {
    add(JSONValue::Kind::number).text = written;
    return true;
  }
  // A pointer stays valid while its value is open: only the innermost value's elements grow.
  bool open(JSONValue::Kind kind) {
    if (open_.size() == maximumDepth + 1) {  // the list around the document is not its own
      problem = "nested more than " + std::to_string(maximumDepth) + " deep";
      return false;
    }
    open_.push_back(&add(kind));
    return true;
  }
  bool close() {
    open_.pop_back();
    return true;
  }

  const BetweenBlanks& document_;
  std::vector<JSONValue*> open_;
};

[[noreturn]] void failCorrupted(std::string problem) {
  throw AnyError(DecodingError(DecodingError::Case::dataCorrupted, "", std::move(problem)));
}

}  // namespace

const JSONValue* JSONValue::member(std::string_view key) const {
  const auto found = std::find(keys.begin(), keys.end(), key);
  return found == keys.end() ? nullptr : &elements[static_cast<std::size_t>(found - keys.begin())];
}

std::string_view kindName(JSONValue::Kind kind) {
  switch (kind) {
    case JSONValue::Kind::null:
      return "null";
    case JSONValue::Kind::boolean:
      return "a boolean";
    case JSONValue::Kind::number:
      return "a number";
    case JSONValue::Kind::text:
      return "text";
    case JSONValue::Kind::list:
      return "a list";
    case JSONValue::Kind::object:
      return "an object";
  }
  return "nothing";
}

JSONValue parseJSON(std::string_view document) {
  // The library takes a NUL for the document's end and would not look at what follows.
  if (const auto nul = document.find('\0'); nul != std::string_view::npos)
    failCorrupted("not a JSON document (byte " + std::to_string(nul + 1) + ")");
  const BetweenBlanks list(document);
  TreeBuilder builder(list);
  if (!Events::sax_parse(list.text().begin(), list.text().end(), &builder)) failCorrupted(builder.problem);
  if (builder.root.elements.size() != 2) failCorrupted("not one JSON document");
  return std::move(builder.root.elements.front());
}

}  // namespace corvane
