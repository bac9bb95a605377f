#include "Files.hpp"
#include "RawDatabase.hpp"
#include "Sessions.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

// What a sign-out leaves in the keychain's files: nothing of the sealed session.

namespace corvane::test {
namespace {

class KeychainErasure : public testing::Test {
 protected:
  /// The sealed secret of an account, as it lies in the file.
  std::string sealed(const std::string& account) {
    return RawDatabase(folder_).value("SELECT sealed FROM items WHERE account = '" + account + "'");
  }

  /// Whether any piece of these bytes, however small it could be told from chance, lies in any file.
  bool leaves(const std::string& bytes) const {
    constexpr std::size_t piece = 16;
    const auto all = everything();
    for (std::size_t i = 0; i + piece <= bytes.size(); i += piece) {
      if (all.find(bytes.substr(i, piece)) != std::string::npos) return true;
    }
    return bytes.size() < piece;
  }

  std::string everything() const {
    std::string all;
    for (const auto& file : std::filesystem::directory_iterator(folder_)) {
      all += contents(file.path());
    }
    return all;
  }

  std::set<std::string> files() const {
    std::set<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(folder_))
      names.insert(file.path().filename().string());
    return names;
  }

  TemporaryFolder temporary_{TemporaryFolder::memory()};
  std::filesystem::path folder_ = temporary_.path() / "keychain";
};

TEST_F(KeychainErasure, ARemovedSessionIsInNoFile) {
  EncryptedFileKeychain keychain(folder_);
  for (const std::size_t size : {1U, 200U, 2000U, 5000U, 20'000U}) {
    ASSERT_EQ(addSession(keychain, "ada", std::string(size, 'x')), errSecSuccess);
    const auto bytes = sealed("ada");
    EXPECT_TRUE(leaves(bytes)) << size;
    ASSERT_EQ(removeSession(keychain, "ada"), errSecSuccess);
    EXPECT_FALSE(leaves(bytes)) << size;
  }
}

TEST_F(KeychainErasure, AReplacedSessionIsInNoFile) {
  EncryptedFileKeychain keychain(folder_);
  ASSERT_EQ(addSession(keychain, "ada", sessionText("ada", 1)), errSecSuccess);
  const auto bytes = sealed("ada");
  ASSERT_EQ(removeSession(keychain, "ada"), errSecSuccess);
  ASSERT_EQ(addSession(keychain, "ada", sessionText("ada", 2)), errSecSuccess);
  EXPECT_FALSE(leaves(bytes));
}

TEST_F(KeychainErasure, ARemovedSessionIsInNoFileWhileOthersHaveItOpen) {
  EncryptedFileKeychain keychain(folder_);
  EncryptedFileKeychain other(folder_);
  ASSERT_EQ(addSession(keychain, "ada", sessionText("ada", 1)), errSecSuccess);
  ASSERT_EQ(addSession(other, "bob", sessionText("bob", 1)), errSecSuccess);
  RawDatabase raw(folder_);
  const auto bytes = raw.value("SELECT sealed FROM items WHERE account = 'ada'");
  ASSERT_EQ(removeSession(keychain, "ada"), errSecSuccess);
  EXPECT_FALSE(leaves(bytes));
  EXPECT_EQ(readSession(other, "bob").text, sessionText("bob", 1));
}

// SQLite moves rows between pages; no copy may stay behind where a row lay before.
TEST_F(KeychainErasure, NothingStaysOfRowsThatWereMoved) {
  const auto seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  EncryptedFileKeychain keychain(folder_);
  std::vector<std::string> removed;
  for (int step = 0; step < 60; ++step) {
    const auto account = "user" + std::to_string(random() % 8);
    const auto bytes = step == 0 ? std::string() : sealed(account);
    if (!bytes.empty()) {
      ASSERT_EQ(removeSession(keychain, account), errSecSuccess);
      removed.push_back(bytes);
    }
    ASSERT_EQ(addSession(keychain, account, std::string(random() % 6000 + 1, 'x')), errSecSuccess);
  }
  ASSERT_FALSE(removed.empty());
  EXPECT_TRUE(std::ranges::none_of(removed, [this](const auto& bytes) { return leaves(bytes); }));
}

TEST_F(KeychainErasure, AClosedKeychainIsDatabaseAndKeyAlone) {
  auto keychain = std::make_unique<EncryptedFileKeychain>(folder_);
  ASSERT_EQ(addSession(*keychain, "ada", "secret"), errSecSuccess);
  ASSERT_EQ(removeSession(*keychain, "ada"), errSecSuccess);
  keychain.reset();
  EXPECT_EQ(files(), (std::set<std::string>{"keychain.db", "keychain.key"}));
}

TEST_F(KeychainErasure, AFileOfAnEarlierVersionIsErasedToo) {
  {
    EncryptedFileKeychain keychain(folder_);
    ASSERT_EQ(addSession(keychain, "ada", sessionText("ada", 1)), errSecSuccess);
  }
  const auto bytes = sealed("ada");
  RawDatabase(folder_).execute("PRAGMA journal_mode = WAL");
  {
    EncryptedFileKeychain keychain(folder_);
    ASSERT_EQ(removeSession(keychain, "ada"), errSecSuccess);
  }
  EXPECT_FALSE(leaves(bytes));
  EXPECT_EQ(files(), (std::set<std::string>{"keychain.db", "keychain.key"}));
}

}  // namespace
}  // namespace corvane::test
