#include "KeychainVault.hpp"

#include "KeychainProblem.hpp"
#include "ShellWord.hpp"

#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>

// The problem: sessions must survive a crash at any moment, two programs at once and a curious look into the
// file, and a file that was damaged or tampered with must never yield a wrong session.
//
// The idea: SQLite takes care of the crashes and of the other programs. Attributes are kept readable; each
// secret is sealed together with its item's attributes, so that no column can be changed and no secret moved
// unnoticed. The file also remembers which key its items are sealed with, and only a writer that has that key
// may write; that is how a lost key is told from damage, and why a new key can only come to be while there
// are no items.
//
// The cost: lookups walk the whole table instead of an index, because a miss must tell a missing item from
// one whose attributes were damaged. With an item per account that is a few microseconds each. Whole rows
// that vanish, or an older copy of the whole file, cannot be noticed.

namespace corvane {
namespace {

constexpr std::int64_t applicationID = 0x43727631;  // "Crv1"
constexpr std::int64_t schemaVersion = 1;

// NULL is never equal to NULL in an index, so that an absent attribute stands there as a value of its own.
constexpr const char* schema = R"(
  CREATE TABLE items (
    id INTEGER PRIMARY KEY,
    class TEXT NOT NULL,
    account TEXT,
    service TEXT,
    access_group TEXT,
    synchronizable INTEGER NOT NULL,
    accessible TEXT,
    nonce BLOB NOT NULL,
    sealed BLOB NOT NULL
  );
  CREATE UNIQUE INDEX item_identity ON items (
    class, account IS NULL, ifnull(account, ''), service IS NULL, ifnull(service, ''),
    access_group IS NULL, ifnull(access_group, ''), synchronizable
  );
  CREATE TABLE key_in_use (id INTEGER PRIMARY KEY CHECK (id = 1), identifier BLOB NOT NULL);
)";

bool isEmpty(SQLiteDatabase& database) {
  return database.integer("PRAGMA application_id") == 0 && database.integer("PRAGMA user_version") == 0 &&
         database.integer("SELECT count(*) FROM sqlite_schema") == 0;
}

// A write's journal goes with the write, so that a removed session stays in no file, and a file that
// nobody writes can be read without writing anything. Files of earlier versions have a write-ahead log;
// another program that still uses one keeps it, and the next to open the file tries again.
void useRollbackJournal(SQLiteDatabase& database) {
  database.attempt("PRAGMA journal_mode = DELETE");
}

// EXTRA: the folder is flushed too once the journal is gone. A journal that came back with a power failure
// would undo the write.
constexpr const char* settings =
    "PRAGMA synchronous = EXTRA; PRAGMA secure_delete = ON; PRAGMA cell_size_check = ON";

void createSchema(SQLiteDatabase& database) {
  SQLiteTransaction transaction(database);
  if (!isEmpty(database)) return;  // another program was faster
  database.execute(schema);
  database.execute("PRAGMA application_id = " + std::to_string(applicationID));
  database.execute("PRAGMA user_version = " + std::to_string(schemaVersion));
  transaction.commit();
}

// SQLite would refuse it with a text that says nothing of the path.
void requirePathThatSQLiteTakes(const KeychainFolder& folder) {
  const auto path = folder.database().string();
  const auto* files = sqlite3_vfs_find(nullptr);
  if (!files || path.size() < static_cast<std::size_t>(files->mxPathname)) return;
  throw KeychainProblem(errSecNotAvailable,
                        "The keychain's path is too long: " + std::to_string(path.size()) +
                            " bytes, where less than " + std::to_string(files->mxPathname) +
                            " are possible. Choose a shorter folder than " +
                            shellWord(folder.path().string()) + ".");
}

[[noreturn]] void refuseFile(OSStatus status, const KeychainFolder& folder, const std::string& why) {
  const auto path = folder.path().string();
  throw KeychainProblem(status, "The keychain file " + shellWord(folder.database().string()) + " " + why +
                                    ", or set it aside and sign in again; run: mv " + shellWord(path) + " " +
                                    shellWord(path + ".old"));
}

void requireKnownSchema(SQLiteDatabase& database, const KeychainFolder& folder) {
  if (database.integer("PRAGMA application_id") != applicationID) {
    refuseFile(errSecDecode, folder,
               "is not one of Corvane's, or is damaged; it was left alone. Put a copy in its place");
  }
  const auto version = database.integer("PRAGMA user_version");
  const auto layout = std::to_string(version);
  if (version > schemaVersion) {
    refuseFile(errSecNotAvailable, folder,
               "was made by a newer version of Corvane (layout " + layout + "). Use that version");
  }
  if (version < schemaVersion) {
    refuseFile(
        errSecDecode, folder,
        "has a layout that was never in use (" + layout + "); it was left alone. Put a copy in its place");
  }
}

}  // namespace

struct KeychainVault::Row {
  explicit Row(const SQLiteStatement::Run& run)
      : id(run.integer(0)), synchronizable(run.integer(5)), nonce(run.bytes(7)), sealed(run.bytes(8)) {
    item.itemClass = run.text(1).value_or("");
    item.account = run.text(2);
    item.service = run.text(3);
    item.accessGroup = run.text(4);
    item.synchronizable = synchronizable != 0;
    item.accessible = run.text(6);
  }

  bool isIntact(const ItemKey* key) const {
    return key && isFlag() && key->authenticates(item, nonce, sealed);
  }
  std::optional<Data> open(const ItemKey* key) const {
    return key && isFlag() ? key->open(item, nonce, sealed) : std::nullopt;
  }

  // Whether the query means this row although it does not match: its secret was sealed for the attributes
  // that the query names, so those in the row are damaged. Damaged rows of other programs do not pass.
  bool lostNameIn(const KeychainQuery& query, const ItemKey* key) const {
    return key && !query.matches(item) && key->authenticates(query.named(item), nonce, sealed);
  }

  KeychainItem item;
  std::int64_t id;
  std::int64_t synchronizable;
  std::span<const std::byte> nonce;
  std::span<const std::byte> sealed;

 private:
  bool isFlag() const { return synchronizable == 0 || synchronizable == 1; }
};

std::unique_ptr<KeychainVault> KeychainVault::open(const KeychainFolder& folder,
                                                   std::chrono::milliseconds patience, Missing missing) {
  requirePathThatSQLiteTakes(folder);
  const bool mayCreate = missing == Missing::create;
  if (mayCreate) folder.create();
  auto opened = folder.open();
  if (!opened) return nullptr;
  if (mayCreate) folder.createDatabase();
  const auto file = folder.identify(folder.database());
  if (!file) return nullptr;
  folder.inspectDatabaseCompanions();

  SQLiteDatabase database(std::filesystem::canonical(folder.database()), patience);
  database.execute(settings);
  if (isEmpty(database)) {
    if (!mayCreate) return nullptr;
    createSchema(database);
  }
  requireKnownSchema(database, folder);
  useRollbackJournal(database);
  return std::make_unique<KeychainVault>(folder, std::move(database), Place{std::move(*opened), *file});
}

KeychainVault::KeychainVault(const KeychainFolder& folder, SQLiteDatabase database, Place place)
    : folder_(folder),
      place_(std::move(place)),
      keyFile_(folder, place_.folder),
      database_(std::move(database)),
      select_(database_,
              "SELECT id, class, account, service, access_group, synchronizable, accessible, nonce, sealed "
              "FROM items NOT INDEXED ORDER BY id"),
      insert_(database_,
              "INSERT INTO items (class, account, service, access_group, synchronizable, accessible, nonce, "
              "sealed) "
              "VALUES (?, ?, ?, ?, ?, ?, ?, ?)"),
      delete_(database_, "DELETE FROM items WHERE id = ?"),
      count_(database_, "SELECT EXISTS (SELECT 1 FROM items NOT INDEXED)"),
      keyIdentifier_(database_, "SELECT identifier FROM key_in_use"),
      setKeyIdentifier_(database_, "INSERT OR REPLACE INTO key_in_use (id, identifier) VALUES (1, ?)") {}

bool KeychainVault::isCurrent() const {
  const auto& [descriptor, identity] = place_.folder;
  const auto isStill = [&descriptor](const char* path, const FileIdentity& seen) {
    const auto status = statusOf(descriptor, path);
    return status && identityOf(*status) == seen;
  };
  return identity.owner == ::geteuid() && isStill(folder_.path().c_str(), identity) &&
         isStill(KeychainFolder::databaseName, place_.database);
}

KeychainVault::Findings KeychainVault::find(const KeychainQuery& query) {
  const auto* key = keyFile_.current();
  auto findings = query.matchesAll ? findAll(query, key) : findFirst(query, key);
  if (findings.items.empty() && findings.damaged > 0) failUnreadable(key);
  return findings;
}

KeychainVault::Findings KeychainVault::findFirst(const KeychainQuery& query, const ItemKey* key) {
  Findings findings;
  auto rows = select_.run();
  while (rows.step()) {
    const Row row(rows);
    if (!query.matches(row.item)) continue;
    if (query.returnsData) {
      auto secret = row.open(key);
      if (!secret) failUnreadable(key);
      findings.secret = std::move(*secret);
    } else if (!row.isIntact(key)) {
      failUnreadable(key);
    }
    findings.items.push_back(row.item);
    return findings;
  }
  // The item that was asked for may be one whose attributes are damaged.
  if (hasDamaged(query, key)) findings.damaged = 1;
  return findings;
}

KeychainVault::Findings KeychainVault::findAll(const KeychainQuery& query, const ItemKey* key) {
  Findings findings;
  auto rows = select_.run();
  while (rows.step()) {
    const Row row(rows);
    if (query.matches(row.item) && row.isIntact(key)) {
      findings.items.push_back(row.item);
    } else if (query.matches(row.item) || row.lostNameIn(query, key)) {
      ++findings.damaged;
    }
  }
  return findings;
}

bool KeychainVault::add(const KeychainItem& item, const Data& secret) {
  SQLiteTransaction transaction(database_);
  const auto& key = keyForAddition();
  const auto sealed = key.seal(item, secret);
  const std::optional<std::string> itemClass = item.itemClass;
  bool added = false;
  {
    auto run = insert_.run();
    run.bind(1, itemClass).bind(2, item.account).bind(3, item.service).bind(4, item.accessGroup);
    run.bind(5, std::int64_t{item.synchronizable}).bind(6, item.accessible);
    run.bind(7, std::span(sealed.nonce)).bind(8, std::span(sealed.bytes));
    added = run.finish(SQLITE_CONSTRAINT_UNIQUE) != SQLITE_CONSTRAINT_UNIQUE;
  }
  transaction.commit();
  return added;
}

std::size_t KeychainVault::remove(const KeychainQuery& query) {
  SQLiteTransaction transaction(database_);
  // A session is saved by a removal and an addition. Without the key the addition would fail, so the removal
  // must too, or the old item would be lost. One that is merely damaged may go, or it could never be
  // replaced.
  const auto* key = keyFile_.current();
  if (!fits(key) && hasItems()) failUnreadable(key);
  std::vector<std::int64_t> doomed;
  {
    auto rows = select_.run();
    while (rows.step()) {
      const Row row(rows);
      if (query.matches(row.item) || row.lostNameIn(query, key)) doomed.push_back(row.id);
    }
  }
  for (const auto id : doomed) delete_.run().bind(1, id).finish();
  transaction.commit();
  return doomed.size();
}

bool KeychainVault::hasDamaged(const KeychainQuery& query, const ItemKey* key) {
  auto rows = select_.run();
  while (rows.step()) {
    if (Row(rows).lostNameIn(query, key)) return true;
  }
  return false;
}

bool KeychainVault::hasItems() {
  auto run = count_.run();
  return run.step() && run.integer(0) != 0;
}

bool KeychainVault::fits(const ItemKey* key) {
  auto run = keyIdentifier_.run();
  return key && run.step() && std::ranges::equal(run.bytes(0), key->identifier());
}

const ItemKey& KeychainVault::keyForAddition() {
  const auto* key = keyFile_.current();
  if (fits(key)) return *key;
  if (hasItems()) failUnreadable(key);
  if (!key) key = &keyFile_.create();
  const auto identifier = key->identifier();
  setKeyIdentifier_.run().bind(1, std::span<const std::byte>(identifier)).finish();
  return *key;
}

void KeychainVault::failUnreadable(const ItemKey* key) {
  const auto path = shellWord(folder_.key().string());
  if (!key) {
    throw KeychainProblem(errSecAuthFailed,
                          "The keychain's items cannot be read, because their key " + path +
                              " is missing or truncated; put it back. Nothing was changed.");
  }
  if (!fits(key)) {
    throw KeychainProblem(errSecAuthFailed,
                          "The keychain's items cannot be read, because " + path +
                              " is not their key; put the right one back. Nothing was changed.");
  }
  throw KeychainProblem(
      errSecDecode, "An item of the keychain is damaged and was left alone; signing in again replaces it.");
}

}  // namespace corvane
