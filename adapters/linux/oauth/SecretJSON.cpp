#include "SecretJSON.hpp"

#include "BetweenBlanks.hpp"

#include <set>

namespace corvane {

namespace {
constexpr std::size_t maximumSize = 256u << 10;
}

std::optional<SecretJSON> parseSecretObject(std::string_view text) {
  // The library takes a NUL for the document's end and would not look at what follows.
  if (text.size() > maximumSize || text.find('\0') != std::string_view::npos) return std::nullopt;
  std::set<SecretString> names;
  const auto firstOfItsName = [&names](int depth, SecretJSON::parse_event_t event, SecretJSON& parsed) {
    if (depth != 2 || event != SecretJSON::parse_event_t::key) return true;
    return names.insert(parsed.get_ref<const SecretString&>()).second;
  };
  const BetweenBlanks list(text);
  auto both =
      SecretJSON::parse(list.text().begin(), list.text().end(), firstOfItsName, /*allow_exceptions=*/false);
  if (!both.is_array() || both.size() != 2 || !both.front().is_object()) return std::nullopt;
  return std::move(both.front());
}

const SecretJSON* findMember(const SecretJSON& object, std::string_view name) {
  const auto member = object.find(SecretString(name));
  return member == object.end() ? nullptr : &*member;
}

std::optional<Secret> secretMember(const SecretJSON& object, std::string_view name) {
  const auto* member = findMember(object, name);
  if (!member || !member->is_string()) return std::nullopt;
  return Secret(member->get_ref<const SecretString&>());
}

std::optional<std::string> textMember(const SecretJSON& object, std::string_view name) {
  const auto secret = secretMember(object, name);
  if (!secret) return std::nullopt;
  return std::string(secret->reveal());
}

}  // namespace corvane
