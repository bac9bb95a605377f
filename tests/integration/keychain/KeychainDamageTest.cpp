#include "Files.hpp"
#include "RawDatabase.hpp"
#include "Sessions.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace corvane::test {
namespace {

std::string withFlippedBit(std::string bytes, std::size_t index) {
  bytes[index] = static_cast<char>(bytes[index] ^ (1 << (index % 8)));
  return bytes;
}

/// Two stored accounts, "ada" and "bob", and nobody who has the file open.
class KeychainDamage : public testing::Test {
 protected:
  KeychainDamage() {
    auto attributes = accountQuery("ada");
    attributes.emplace(kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock);
    attributes.emplace(kSecValueData, dataFromText("ada's secret"));
    EncryptedFileKeychain keychain(folder_);
    EXPECT_EQ(keychain.SecItemAdd(attributes, nullptr), errSecSuccess);
    EXPECT_EQ(addSession(keychain, "bob", "bob's secret"), errSecSuccess);
  }

  /// Stores "eve" as another program does: under a service or in an access group of its own.
  void saveForAnotherProgram(std::string_view attribute) {
    auto attributes = accountQuery("eve");
    attributes.insert_or_assign(std::string(attribute), "another program");
    attributes.emplace(kSecValueData, dataFromText("eve's secret"));
    EXPECT_EQ(EncryptedFileKeychain(folder_).SecItemAdd(attributes, nullptr), errSecSuccess);
  }

  ReadSession read(const std::string& account) {
    EncryptedFileKeychain keychain(folder_, [this](const std::string& problem) { problem_ = problem; });
    return readSession(keychain, account);
  }

  std::pair<OSStatus, std::size_t> count() {
    EncryptedFileKeychain keychain(folder_, [this](const std::string& problem) { problem_ = problem; });
    return countSessions(keychain);
  }

  std::filesystem::path database() const { return folder_ / "keychain.db"; }

  TemporaryFolder temporary_{TemporaryFolder::memory()};
  std::filesystem::path folder_ = temporary_.path() / "keychain";
  std::string problem_;
};

struct Column {
  const char* name;
  bool isText;
};

TEST_F(KeychainDamage, AFlippedBitInAnyColumnIsDamageAndNeitherAMissingItemNorAnotherSecret) {
  for (const auto& [name, isText] :
       {Column{"class", true}, Column{"account", true}, Column{"service", true}, Column{"accessible", true},
        Column{"nonce", false}, Column{"sealed", false}}) {
    const std::string column = name;
    const auto original = RawDatabase(folder_).value("SELECT " + column + " FROM items WHERE id = 1");
    ASSERT_FALSE(original.empty());
    for (std::size_t i = 0; i < original.size(); ++i) {
      const auto update = "UPDATE items SET " + column + " = ? WHERE id = 1";
      RawDatabase(folder_).executeWith(update, withFlippedBit(original, i), isText);
      EXPECT_EQ(read("ada").status, errSecDecode) << column << " " << i;
      EXPECT_NE(problem_.find("damaged"), std::string::npos);
      EXPECT_EQ(read("bob").text, "bob's secret");
      EXPECT_EQ(count(), std::pair(errSecSuccess, std::size_t{1}));
      RawDatabase(folder_).executeWith(update, original, isText);
    }
  }
  EXPECT_EQ(read("ada").text, "ada's secret");
}

TEST_F(KeychainDamage, AFlippedBitInTheSynchronizableFlagIsDamage) {
  for (int bit = 0; bit < 63; ++bit) {
    const auto flipped = std::to_string(std::int64_t{1} << bit);
    RawDatabase(folder_).execute("UPDATE items SET synchronizable = " + flipped + " WHERE id = 1");
    EXPECT_EQ(read("ada").status, errSecDecode) << bit;
    EXPECT_EQ(read("bob").text, "bob's secret");
  }
  RawDatabase(folder_).execute("UPDATE items SET synchronizable = 0 WHERE id = 1");
  EXPECT_EQ(read("ada").text, "ada's secret");
}

TEST_F(KeychainDamage, AFlippedBitInAnAccessGroupIsDamage) {
  const std::string group = "team";
  auto attributes = accountQuery("carol");
  attributes.insert_or_assign(std::string(kSecAttrAccessGroup), group);
  attributes.emplace(kSecValueData, dataFromText("carol's secret"));
  ASSERT_EQ(EncryptedFileKeychain(folder_).SecItemAdd(attributes, nullptr), errSecSuccess);
  for (std::size_t i = 0; i < group.size(); ++i) {
    const auto flipped = withFlippedBit(group, i);
    RawDatabase(folder_).executeWith("UPDATE items SET access_group = ? WHERE id = 3", flipped, true);
    for (const auto& asked : {group, flipped}) {
      auto query = accountQuery("carol");
      query.insert_or_assign(std::string(kSecAttrAccessGroup), asked);
      query.emplace(kSecReturnData, true);
      KeychainValue result;
      EXPECT_EQ(EncryptedFileKeychain(folder_).SecItemCopyMatching(query, &result), errSecDecode) << asked;
      EXPECT_FALSE(result.data());
    }
    EXPECT_EQ(read("bob").text, "bob's secret");
  }
}

TEST_F(KeychainDamage, AFlippedBitInTheNoteOfTheKeyCostsNoItem) {
  const auto original = RawDatabase(folder_).value("SELECT identifier FROM key_in_use");
  ASSERT_EQ(original.size(), 16U);
  for (std::size_t i = 0; i < original.size(); ++i) {
    const auto update = std::string("UPDATE key_in_use SET identifier = ?");
    RawDatabase(folder_).executeWith(update, withFlippedBit(original, i), false);
    EXPECT_EQ(read("ada").text, "ada's secret");
    EncryptedFileKeychain keychain(folder_);
    EXPECT_EQ(addSession(keychain, "carol", "x"), errSecAuthFailed);
    EXPECT_EQ(removeSession(keychain, "ada"), errSecAuthFailed);
    RawDatabase(folder_).executeWith(update, original, false);
  }
  EXPECT_EQ(count(), std::pair(errSecSuccess, std::size_t{2}));
}

TEST_F(KeychainDamage, AnAttributeThatCameOrWentIsDamage) {
  for (const auto* change :
       {"account = NULL", "service = NULL", "access_group = NULL", "access_group = 'group'",
        "accessible = NULL", "synchronizable = 1", "synchronizable = 2", "sealed = x''",
        "sealed = substr(sealed, 2)", "nonce = x''", "account = 'ada' || x'00'"}) {
    RawDatabase(folder_).execute("CREATE TABLE copy AS SELECT * FROM items");
    RawDatabase(folder_).execute(std::string("UPDATE items SET ") + change + " WHERE id = 1");
    EXPECT_EQ(read("ada").status, errSecDecode) << change;
    EXPECT_EQ(read("bob").text, "bob's secret") << change;
    RawDatabase(folder_).execute("DELETE FROM items; INSERT INTO items SELECT * FROM copy; DROP TABLE copy");
  }
  EXPECT_EQ(read("ada").text, "ada's secret");
}

TEST_F(KeychainDamage, ARowNumberIsNoPartOfAnItem) {
  RawDatabase(folder_).execute("UPDATE items SET id = 77 WHERE id = 1");
  EXPECT_EQ(read("ada").text, "ada's secret");
}

TEST_F(KeychainDamage, ASecretThatWasSwappedWithAnotherAccountsFailsForBoth) {
  RawDatabase(folder_).execute(
      "CREATE TABLE copy AS SELECT * FROM items;"
      "UPDATE items SET (nonce, sealed) = (SELECT nonce, sealed FROM copy WHERE copy.id = 3 - items.id);"
      "DROP TABLE copy");
  EXPECT_EQ(read("ada").status, errSecDecode);
  EXPECT_EQ(read("bob").status, errSecDecode);
  EXPECT_EQ(count().first, errSecDecode);
}

TEST_F(KeychainDamage, AccountNamesThatWereSwappedFailForBoth) {
  RawDatabase(folder_).execute(
      "UPDATE items SET account = 'x' WHERE id = 1;"
      "UPDATE items SET account = 'ada' WHERE id = 2;"
      "UPDATE items SET account = 'bob' WHERE id = 1");
  EXPECT_EQ(read("ada").status, errSecDecode);
  EXPECT_EQ(read("bob").status, errSecDecode);
}

// What is not noticed, as there is nothing outside the file to compare it with.
TEST_F(KeychainDamage, AVanishedRowLooksLikeAnAccountThatWasSignedOut) {
  RawDatabase(folder_).execute("DELETE FROM items WHERE id = 1");
  EXPECT_EQ(read("ada").status, errSecItemNotFound);
  EXPECT_EQ(read("bob").text, "bob's secret");
  EXPECT_EQ(count(), std::pair(errSecSuccess, std::size_t{1}));
}

TEST_F(KeychainDamage, AnOlderCopyOfTheFileIsTakenForTheKeychain) {
  const auto older = contents(database());
  {
    EncryptedFileKeychain keychain(folder_);
    ASSERT_EQ(removeSession(keychain, "ada"), errSecSuccess);
    ASSERT_EQ(addSession(keychain, "ada", "newer secret"), errSecSuccess);
    ASSERT_EQ(removeSession(keychain, "bob"), errSecSuccess);
  }
  overwrite(database(), older);
  EXPECT_EQ(read("ada").text, "ada's secret");
  EXPECT_EQ(read("bob").text, "bob's secret") << "whom only Google's account settings can sign out for good";
}

TEST_F(KeychainDamage, AnOlderCopyUnderAnotherKeyIsRefused) {
  const auto older = contents(database());
  std::filesystem::remove_all(folder_);
  {
    EncryptedFileKeychain keychain(folder_);
    ASSERT_EQ(addSession(keychain, "ada", "newer secret"), errSecSuccess);
  }
  overwrite(database(), older);
  EXPECT_EQ(read("ada").status, errSecAuthFailed);
}

TEST_F(KeychainDamage, ADamagedItemIsReplacedBySavingItAnew) {
  RawDatabase(folder_).execute("UPDATE items SET sealed = zeroblob(40) WHERE id = 1");
  EncryptedFileKeychain keychain(folder_);
  ASSERT_EQ(readSession(keychain, "ada").status, errSecDecode);
  EXPECT_EQ(removeSession(keychain, "ada"), errSecSuccess);
  EXPECT_EQ(addSession(keychain, "ada", "new"), errSecSuccess);
  EXPECT_EQ(readSession(keychain, "ada").text, "new");
  EXPECT_EQ(countSessions(keychain), std::pair(errSecSuccess, std::size_t{2}));
}

TEST_F(KeychainDamage, AnotherProgramsDamagedItemCountsForThatProgramOnly) {
  for (const auto attribute : {kSecAttrService, kSecAttrAccessGroup}) {
    saveForAnotherProgram(attribute);
    for (const std::string damage :
         {"account = 'eva'", "service = 'x'", "access_group = NULL", "nonce = x''", "sealed = x'00'"}) {
      RawDatabase(folder_).execute("CREATE TABLE copy AS SELECT * FROM items");
      RawDatabase(folder_).execute("UPDATE items SET " + damage + " WHERE account = 'eve'");
      EXPECT_EQ(count(), std::pair(errSecSuccess, std::size_t{2})) << damage;
      EXPECT_EQ(problem_, "") << damage;
      RawDatabase(folder_).execute("DELETE FROM items WHERE account IN ('ada', 'bob')");
      EXPECT_EQ(count().first, errSecItemNotFound) << damage;
      EXPECT_EQ(read("eve").status, errSecItemNotFound) << damage;
      RawDatabase(folder_).execute(
          "DELETE FROM items; INSERT INTO items SELECT * FROM copy; DROP TABLE copy");
    }
    RawDatabase(folder_).execute("DELETE FROM items WHERE account = 'eve'");
  }
}

TEST_F(KeychainDamage, ADamagedAccountNameDoesNotCountForOtherAccounts) {
  RawDatabase(folder_).execute("UPDATE items SET account = 'adb' WHERE id = 1");
  EXPECT_EQ(read("carol").status, errSecItemNotFound);
  EXPECT_EQ(read("ada").status, errSecDecode);
}

TEST_F(KeychainDamage, ARemovalTakesAnItemWhoseAttributesAreDamaged) {
  RawDatabase(folder_).execute("UPDATE items SET account = 'adb' WHERE id = 1");
  EncryptedFileKeychain keychain(folder_);
  EXPECT_EQ(removeSession(keychain, "ada"), errSecSuccess);
  EXPECT_EQ(read("ada").status, errSecItemNotFound);
  EXPECT_EQ(RawDatabase(folder_).value("SELECT group_concat(account) FROM items"), "bob");
}

TEST_F(KeychainDamage, AFlippedBitAnywhereInTheFileNeverYieldsAWrongSecret) {
  const auto original = contents(database());
  int found = 0;
  int refused = 0;
  for (std::size_t i = 0; i < original.size(); i += 7) {
    overwrite(database(), withFlippedBit(original, i));
    for (const auto& [account, secret] :
         {std::pair("ada", "ada's secret"), std::pair("bob", "bob's secret")}) {
      const auto session = read(account);
      if (session.status == errSecSuccess) {
        EXPECT_EQ(session.text, secret) << "byte " << i;
        ++found;
      } else {
        EXPECT_NE(session.status, errSecItemNotFound) << "byte " << i;
        ++refused;
      }
    }
    for (const auto* suffix : {"-wal", "-shm", "-journal"})
      std::filesystem::remove(database().string() + suffix);
  }
  EXPECT_GT(found, 0);
  EXPECT_GT(refused, 0);
}

TEST_F(KeychainDamage, AnotherFileInItsPlaceIsRefusedAndLeftAlone) {
  for (const auto& bytes : {std::string(5000, 'x'), contents(database()).substr(0, 5000)}) {
    overwrite(database(), bytes);
    EncryptedFileKeychain keychain(folder_);
    EXPECT_EQ(readSession(keychain, "ada").status, errSecDecode);
    EXPECT_EQ(addSession(keychain, "carol", "x"), errSecDecode);
    EXPECT_EQ(removeSession(keychain, "ada"), errSecDecode);
    EXPECT_EQ(contents(database()), bytes);
  }
}

TEST_F(KeychainDamage, ADatabaseOfAnotherProgramIsRefusedAndLeftAlone) {
  std::filesystem::remove(database());
  overwrite(database(), "");
  RawDatabase(folder_).execute("CREATE TABLE items (id)");
  const auto before = contents(database());
  EncryptedFileKeychain keychain(folder_);
  EXPECT_EQ(readSession(keychain, "ada").status, errSecDecode);
  EXPECT_EQ(addSession(keychain, "ada", "x"), errSecDecode);
  EXPECT_EQ(contents(database()), before);
}

TEST_F(KeychainDamage, ANewerLayoutIsUnavailableAndLeftAlone) {
  RawDatabase(folder_).execute("PRAGMA user_version = 2");
  const auto before = contents(database());
  EncryptedFileKeychain keychain(folder_, [this](const std::string& problem) { problem_ = problem; });
  EXPECT_EQ(readSession(keychain, "ada").status, errSecNotAvailable);
  EXPECT_NE(problem_.find("newer version"), std::string::npos) << problem_;
  EXPECT_EQ(addSession(keychain, "carol", "x"), errSecNotAvailable);
  EXPECT_EQ(removeSession(keychain, "ada"), errSecNotAvailable);
  EXPECT_EQ(contents(database()), before);
}

TEST_F(KeychainDamage, AnOlderLayoutThatNeverWasIsRefusedAndLeftAlone) {
  RawDatabase(folder_).execute("PRAGMA user_version = 0");
  EXPECT_EQ(read("ada").status, errSecDecode);
  RawDatabase(folder_).execute("PRAGMA user_version = 1");
  EXPECT_EQ(read("ada").text, "ada's secret");
}

TEST_F(KeychainDamage, MissingTablesOrColumnsAreDamage) {
  RawDatabase(folder_).execute("ALTER TABLE items RENAME COLUMN sealed TO opened");
  EXPECT_EQ(read("ada").status, errSecDecode);
  RawDatabase(folder_).execute("ALTER TABLE items RENAME COLUMN opened TO sealed; DROP TABLE key_in_use");
  EXPECT_EQ(read("ada").status, errSecDecode);
}

TEST_F(KeychainDamage, AFileThatIsPutBackIsReadAgainByAKeychainThatSawTheDamage) {
  const auto original = contents(database());
  overwrite(database(), std::string(original.size(), 'x'));
  EncryptedFileKeychain keychain(folder_);
  ASSERT_EQ(readSession(keychain, "ada").status, errSecDecode);
  overwrite(database(), original);
  EXPECT_EQ(readSession(keychain, "ada").text, "ada's secret");
}

TEST_F(KeychainDamage, ALeftoverJournalOfRubbishIsHarmless) {
  for (const auto* suffix : {"-journal", "-wal", "-shm"}) {
    overwrite(database().string() + suffix, std::string(9000, 'j'));
    EXPECT_EQ(read("ada").text, "ada's secret") << suffix;
    EncryptedFileKeychain keychain(folder_);
    EXPECT_EQ(addSession(keychain, suffix, "x"), errSecSuccess);
    EXPECT_EQ(readSession(keychain, suffix).text, "x");
  }
}

/// The files that a program leaves behind when it is killed while it removes "ada".
struct UnfinishedRemoval {
  explicit UnfinishedRemoval(const std::filesystem::path& folder) {
    RawDatabase killed(folder);
    killed.execute("PRAGMA secure_delete = ON; BEGIN; DELETE FROM items WHERE account = 'ada'");
    journal = contents(folder / "keychain.db-journal");
    killed.execute("COMMIT");
    database = contents(folder / "keychain.db");
  }

  std::string database;
  std::string journal;
};

TEST_F(KeychainDamage, AWriteOfAProcessThatWasKilledIsUndone) {
  const UnfinishedRemoval removal(folder_);
  ASSERT_EQ(read("ada").status, errSecItemNotFound);
  overwrite(database().string() + "-journal", removal.journal);
  EXPECT_EQ(read("ada").text, "ada's secret");
  EXPECT_EQ(read("bob").text, "bob's secret");
  EXPECT_FALSE(std::filesystem::exists(database().string() + "-journal"));
}

TEST_F(KeychainDamage, ADamagedJournalNeverYieldsAWrongSecret) {
  const UnfinishedRemoval removal(folder_);
  ASSERT_GT(removal.journal.size(), 4096U);
  for (std::size_t i = 0; i < removal.journal.size(); i += 199) {
    overwrite(database(), removal.database);
    overwrite(database().string() + "-journal", withFlippedBit(removal.journal, i));
    for (const auto* account : {"ada", "bob"}) {
      const auto session = read(account);
      EXPECT_TRUE(session.status == errSecItemNotFound || session.status == errSecDecode ||
                  session == (ReadSession{errSecSuccess, account + std::string("'s secret")}))
          << account << ", byte " << i << ": " << session.status;
    }
  }
}

TEST_F(KeychainDamage, AFileOfAnEarlierVersionLosesItsWriteAheadLog) {
  RawDatabase(folder_).execute("PRAGMA journal_mode = WAL");
  EncryptedFileKeychain keychain(folder_);
  EXPECT_EQ(readSession(keychain, "ada").text, "ada's secret");
  EXPECT_EQ(RawDatabase(folder_).value("PRAGMA journal_mode"), "delete");
}

TEST_F(KeychainDamage, AFileOfAnEarlierVersionWorksWhileThatHasItOpen) {
  RawDatabase earlier(folder_);
  earlier.execute("PRAGMA journal_mode = WAL");
  EXPECT_EQ(earlier.value("SELECT account FROM items"), "ada");
  EncryptedFileKeychain keychain(folder_);
  EXPECT_EQ(removeSession(keychain, "ada"), errSecSuccess);
  EXPECT_EQ(earlier.value("SELECT account FROM items"), "bob");
  EXPECT_EQ(earlier.value("PRAGMA journal_mode"), "wal");
}

TEST_F(KeychainDamage, TheLogOfAProcessThatWasKilledIsTakenOver) {
  std::string log;
  std::string merged;
  {
    RawDatabase keepsLogOpen(folder_);
    keepsLogOpen.execute("PRAGMA journal_mode = WAL");
    merged = contents(database());
    EncryptedFileKeychain keychain(folder_);
    EXPECT_EQ(keepsLogOpen.value("SELECT account FROM items"), "ada");
    ASSERT_EQ(removeSession(keychain, "bob"), errSecSuccess);
    ASSERT_EQ(addSession(keychain, "carol", "carol's secret"), errSecSuccess);
    log = contents(database().string() + "-wal");
  }
  overwrite(database(), merged);
  overwrite(database().string() + "-wal", log);
  EXPECT_EQ(read("ada").text, "ada's secret");
  EXPECT_EQ(read("bob").status, errSecItemNotFound);
  EXPECT_EQ(read("carol").text, "carol's secret");
}

TEST_F(KeychainDamage, ADamagedWriteAheadLogLeavesTheOldItemNoneOrTheNewOne) {
  // The log of a process that never got to merge it, with each part of it damaged in turn.
  std::string log;
  std::string merged;
  {
    RawDatabase keepsLogOpen(folder_);
    keepsLogOpen.execute("PRAGMA journal_mode = WAL");
    merged = contents(database());
    EncryptedFileKeychain keychain(folder_);
    EXPECT_EQ(keepsLogOpen.value("SELECT account FROM items"), "ada");
    EXPECT_EQ(removeSession(keychain, "ada"), errSecSuccess);
    EXPECT_EQ(addSession(keychain, "ada", "new secret"), errSecSuccess);
    log = contents(database().string() + "-wal");
  }
  ASSERT_GT(log.size(), 4096U);
  for (std::size_t i = 0; i < log.size(); i += 199) {
    std::filesystem::remove(database().string() + "-shm");
    overwrite(database(), merged);
    overwrite(database().string() + "-wal", withFlippedBit(log, i));
    const auto session = read("ada");
    EXPECT_TRUE(
        session.status == errSecItemNotFound ||
        (session.status == errSecSuccess && (session.text == "ada's secret" || session.text == "new secret")))
        << "byte " << i << ": " << session.status;
    EXPECT_EQ(read("bob").text, "bob's secret");
  }
}

}  // namespace
}  // namespace corvane::test
