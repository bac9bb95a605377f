#include "nlohmann/JSONDocument.hpp"

#include <Corvane/AnyError.hpp>
#include <Corvane/DecodingError.hpp>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>

namespace corvane {
namespace {

// More than any document of ours; the tree is destroyed by recursion, which must not exhaust a stack.
constexpr std::size_t maximumDepth = 512;

// Builds the tree from the library's events.
class TreeBuilder final : public nlohmann::json_sax<nlohmann::json> {
 public:
  JSONValue root;
  std::string problem;

  bool null() override {
    add(JSONValue::Kind::null);
    return true;
  }
  bool boolean(bool flag) override {
    add(JSONValue::Kind::boolean).flag = flag;
    return true;
  }
  bool number_integer(number_integer_t value) override { return number(std::to_string(value)); }
  bool number_unsigned(number_unsigned_t value) override { return number(std::to_string(value)); }
  bool number_float(number_float_t, const std::string& written) override { return number(written); }
  bool string(std::string& text) override {
    add(JSONValue::Kind::text).text = std::move(text);
    return true;
  }
  bool binary(binary_t&) override { return false; }  // not in JSON

  bool start_object(std::size_t) override { return open(JSONValue::Kind::object); }
  bool start_array(std::size_t) override { return open(JSONValue::Kind::list); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }
  bool key(std::string& name) override {
    open_.back()->keys.push_back(std::move(name));
    return true;
  }

  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::json::exception& error) override {
    constexpr int numberOutOfRange = 406;
    problem = error.id == numberOutOfRange ? "a number is out of range" : "not a JSON document";
    problem += " (byte " + std::to_string(position) + ")";
    return false;
  }

 private:
  JSONValue& add(JSONValue::Kind kind) {
    JSONValue& value = open_.empty() ? root : open_.back()->elements.emplace_back();
    value.kind = kind;
    return value;
  }
  bool number(std::string written) {
    add(JSONValue::Kind::number).text = std::move(written);
    return true;
  }
  // A pointer stays valid while its value is open: only the innermost value's elements grow.
  bool open(JSONValue::Kind kind) {
    if (open_.size() == maximumDepth) {
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
  TreeBuilder builder;
  if (!nlohmann::json::sax_parse(document.begin(), document.end(), &builder)) failCorrupted(builder.problem);
  return std::move(builder.root);
}

}  // namespace corvane
