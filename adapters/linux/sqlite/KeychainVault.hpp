#pragma once

#include "KeyFile.hpp"
#include "KeychainFolder.hpp"
#include "KeychainItem.hpp"
#include "KeychainQuery.hpp"
#include "SQLite.hpp"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace corvane {

/// An opened keychain file with its key. One thread at a time; other processes may have it open too.
/// Operations throw KeychainProblem, and then have changed nothing.
class KeychainVault {
 public:
  enum class Missing { leaveMissing, create };

  /// Null when there is no keychain yet and none is to be made. `folder` must outlive the vault.
  static std::unique_ptr<KeychainVault> open(const KeychainFolder& folder, std::chrono::milliseconds patience,
                                             Missing missing);

  /// What was found in order when the vault was opened.
  struct Place {
    OpenedFolder folder;
    FileIdentity database;
  };

  KeychainVault(const KeychainFolder& folder, SQLiteDatabase database, Place place);

  /// Whether the folder still is what it was, and holds the file that this vault has open.
  bool isCurrent() const;

  struct Findings {
    std::vector<KeychainItem> items;
    /// The first item's secret, when the query asks for it.
    Data secret;
    /// How many items of a listing were left out because they are damaged.
    std::size_t damaged = 0;
  };

  /// Intact items that match, the oldest first; none only when there really is none.
  Findings find(const KeychainQuery& query);
  /// False when the item is there already.
  bool add(const KeychainItem& item, const Data& secret);
  /// How many items were removed.
  std::size_t remove(const KeychainQuery& query);

 private:
  struct Row;

  Findings findFirst(const KeychainQuery& query, const ItemKey* key);
  Findings findAll(const KeychainQuery& query, const ItemKey* key);
  bool hasDamaged(const KeychainQuery& query, const ItemKey* key);
  bool hasItems();
  bool fits(const ItemKey* key);
  const ItemKey& keyForAddition();
  [[noreturn]] void failUnreadable(const ItemKey* key);

  const KeychainFolder& folder_;
  const Place place_;
  KeyFile keyFile_;
  SQLiteDatabase database_;
  SQLiteStatement select_;
  SQLiteStatement insert_;
  SQLiteStatement delete_;
  SQLiteStatement count_;
  SQLiteStatement keyIdentifier_;
  SQLiteStatement setKeyIdentifier_;
};

}  // namespace corvane
