#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::emulator {

std::string percentEncoded(std::string_view text);
/// Nothing when an escape is malformed. `+` is a space only in forms and queries.
std::optional<std::string> percentDecoded(std::string_view text, bool plusIsSpace);

/// The parameters of a query or of a form body, in their order.
class Parameters {
 public:
  /// Nothing when an escape is malformed or a name occurs twice.
  static std::optional<Parameters> parse(std::string_view text);

  std::optional<std::string_view> find(std::string_view name) const;
  std::string_view get(std::string_view name) const { return find(name).value_or(std::string_view{}); }
  const std::vector<std::pair<std::string, std::string>>& all() const { return entries_; }

 private:
  std::vector<std::pair<std::string, std::string>> entries_;
};

/// The text with the values of secret parameters replaced by their fingerprints.
std::string redactedParameters(std::string_view text);

}  // namespace corvane::emulator
