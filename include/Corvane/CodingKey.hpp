#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// A key of a keyed container. Keys of this module are texts and have no integer form.
class CodingKey {
 public:
  constexpr explicit CodingKey(std::string_view stringValue) : stringValue_(stringValue) {}

  constexpr std::string_view stringValue() const { return stringValue_; }
  constexpr std::optional<int> intValue() const { return std::nullopt; }

  /// As a coding key of the type named `CodingKeys` prints.
  std::string description() const {
    return "CodingKeys(stringValue: \"" + std::string(stringValue_) + "\", intValue: nil)";
  }
  std::string debugDescription() const { return description(); }

  constexpr bool operator==(const CodingKey&) const = default;

 private:
  std::string_view stringValue_;
};

}  // namespace corvane
