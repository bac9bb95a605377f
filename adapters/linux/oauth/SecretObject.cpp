#include "SecretObject.hpp"

#include "BetweenBlanks.hpp"
#include "SecretJSON.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace corvane {

namespace {

constexpr std::size_t maximumSize = 256u << 10;

/// Keeps the members of the object that is the first of the list's two elements (see BetweenBlanks.hpp). Each event
/// says whether to go on.
class Reader {
 public:
  std::optional<SecretObject> object() && {
    return elements_ == 2 ? std::optional(std::move(object_)) : std::nullopt;
  }

  bool null() { return keep({}); }
  bool boolean(bool) { return keep({}); }
  bool number_integer(std::int64_t number) { return keep(SecretNumber{static_cast<double>(number), number}); }
  bool number_unsigned(std::uint64_t number) {
    constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
    return keep(
        SecretNumber{static_cast<double>(number), static_cast<std::int64_t>(std::min(number, largest))});
  }
  bool number_float(double number, std::string_view) { return keep(SecretNumber{number, std::nullopt}); }
  bool binary(SecretJSON::binary_t&) { return false; }
  bool string(SecretString& text) {
    if (depth_ == inList) return ++elements_ == 2;
    return keep(std::move(text));
  }

  bool start_object(std::size_t) {
    if (depth_ == inList && elements_++ > 0) return false;
    return begin(depth_ == inList, {});
  }
  bool key(SecretString& name) {
    if (depth_ != inObject) return true;
    const auto [member, isFirst] = object_.try_emplace(std::move(name));
    member_ = isFirst ? &member->second : nullptr;
    return true;
  }
  bool end_object() { return end(); }

  bool start_array(std::size_t) { return begin(depth_ == outside, SecretTexts()); }
  bool end_array() { return end(); }

  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) { return false; }

 private:
  enum Depth : std::size_t { outside, inList, inObject, inMember };

  bool begin(bool mayStandHere, SecretValue empty) {
    if (depth_ < inObject && !mayStandHere) return false;
    if (depth_ >= inObject) keep(std::move(empty));
    ++depth_;
    return true;
  }
  bool end() {
    --depth_;
    return true;
  }

  bool keep(SecretValue value) {
    if (depth_ < inObject) return false;
    if (!member_ || depth_ > inMember) return true;
    if (depth_ == inObject) {
      *member_ = std::move(value);
    } else if (auto* texts = std::get_if<SecretTexts>(member_)) {
      auto* text = std::get_if<SecretString>(&value);
      texts->push_back(text ? std::optional(std::move(*text)) : std::nullopt);
    }
    return true;
  }

  SecretObject object_;
  SecretValue* member_ = nullptr;  // the one being read, unless its name came before
  std::size_t depth_ = outside;
  int elements_ = 0;
};

}  // namespace

std::optional<SecretObject> parseSecretObject(std::string_view text) {
  // The library takes a NUL for the document's end and would not look at what follows.
  if (text.size() > maximumSize || text.find('\0') != std::string_view::npos) return std::nullopt;
  const BetweenBlanks list(text);
  Reader reader;
  if (!SecretJSON::sax_parse(list.text().begin(), list.text().end(), &reader)) return std::nullopt;
  return std::move(reader).object();
}

std::optional<Secret> secretMember(const SecretObject& object, std::string_view name) {
  const auto* text = findMember<SecretString>(object, name);
  return text ? std::optional<Secret>(*text) : std::nullopt;
}

std::optional<std::string> textMember(const SecretObject& object, std::string_view name) {
  const auto* text = findMember<SecretString>(object, name);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

}  // namespace corvane
