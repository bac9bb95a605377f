#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include <optional>
#include <string>

namespace corvane {

/// What is readable of an item: everything but its secret. All members but `accessible` identify it.
struct KeychainItem {
  std::string itemClass;
  std::optional<std::string> account;
  std::optional<std::string> service;
  std::optional<std::string> accessGroup;
  bool synchronizable = false;
  std::optional<std::string> accessible;

  bool operator==(const KeychainItem&) const = default;

  /// The item as a query's result shows it; what the item lacks is left out.
  KeychainDictionary attributes() const;

  /// All of the item as bytes, no two items alike: every text is preceded by whether it is there and by its
  /// length. A secret is sealed together with these bytes, so that it cannot be moved to another item.
  Data associatedData() const;
};

}  // namespace corvane
