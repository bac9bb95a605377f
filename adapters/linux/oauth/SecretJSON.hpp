#pragma once

#include <Corvane/Data.hpp>
#include <Corvane/Secret.hpp>

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// A JSON document whose texts, and the nodes that hold them, are wiped when dropped: token answers and
/// archives.
using SecretString = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;
using SecretJSON = nlohmann::basic_json<std::map, std::vector, SecretString, bool, std::int64_t,
                                        std::uint64_t, double, WipingAllocator>;

/// The document, if it is one whole JSON object of at most 256 KiB, far above any token answer. When a name
/// comes twice in the object the first one counts.
std::optional<SecretJSON> parseSecretObject(std::string_view text);

/// The member, or null; likewise below nothing when it is absent or of another kind.
const SecretJSON* findMember(const SecretJSON& object, std::string_view name);
std::optional<Secret> secretMember(const SecretJSON& object, std::string_view name);
std::optional<std::string> textMember(const SecretJSON& object, std::string_view name);

}  // namespace corvane
