#pragma once

#include "KeychainItem.hpp"

#include <optional>
#include <vector>

namespace corvane {

/// A dictionary of query keys, checked and sorted out for one kind of operation.
///
/// All three throw KeychainProblem with errSecParam when a key is unknown, misplaced or missing, or its value
/// is of the wrong kind. `kSecUseDataProtectionKeychain` says which of a system's keychains is meant; there
/// is only one here, so it is checked and otherwise ignored.
struct KeychainQuery {
  /// What to match, or for an addition what to store; an empty optional matches anything.
  KeychainItem item;
  /// Empty: items of either kind match.
  std::optional<bool> synchronizable = false;
  /// The secret of an addition.
  Data value;
  /// Told, but without a bearing on what matches.
  bool usesDataProtection = false;
  bool returnsData = false;
  bool returnsAttributes = false;
  bool matchesAll = false;

  static KeychainQuery forLookup(const KeychainDictionary& query);
  static KeychainQuery forAddition(const KeychainDictionary& attributes);
  static KeychainQuery forDeletion(const KeychainDictionary& query);

  bool matches(const KeychainItem& candidate) const;
  /// The candidate with the attributes that the query names; it matches.
  KeychainItem named(KeychainItem candidate) const;

  /// Puts what is asked for into `result`, if it is there and anything is asked for. `items` are those found, at least
  /// one; `secret` is the first one's.
  void fill(KeychainValue* result, const std::vector<KeychainItem>& items, Data secret) const;
};

}  // namespace corvane
