#pragma once

#include <Corvane/Data.hpp>
#include <Corvane/Secret.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace corvane {

/// A text that is wiped when dropped.
using SecretString = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;

struct SecretNumber {
  double value = 0;
  std::optional<std::int64_t> integer;  // if it was written as one; the largest there is for a larger one
};

/// A list's entries; no text for an entry of another kind.
using SecretTexts = std::vector<std::optional<SecretString>, WipingAllocator<std::optional<SecretString>>>;

/// A member's value; nothing for the kinds that nobody reads: null, booleans and objects.
using SecretValue = std::variant<std::monostate, SecretNumber, SecretString, SecretTexts>;

/// A JSON object whose texts, and the nodes that hold them, are wiped when dropped: token answers and archives.
/// It is dropped without needing memory.
using SecretObject = std::map<SecretString, SecretValue, std::less<>,
                              WipingAllocator<std::pair<const SecretString, SecretValue>>>;

/// The document, if it is one whole JSON object of at most 256 KiB, far above any token answer. When a name
/// comes twice in the object the first one counts. Throws std::bad_alloc.
std::optional<SecretObject> parseSecretObject(std::string_view text);

/// The member's value, or null when it is absent or of another kind; likewise below.
template <class Kind>
const Kind* findMember(const SecretObject& object, std::string_view name) {
  const auto member = object.find(name);
  return member == object.end() ? nullptr : std::get_if<Kind>(&member->second);
}
std::optional<Secret> secretMember(const SecretObject& object, std::string_view name);
std::optional<std::string> textMember(const SecretObject& object, std::string_view name);

}  // namespace corvane
