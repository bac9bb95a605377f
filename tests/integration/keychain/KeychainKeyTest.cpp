#include "RawDatabase.hpp"
#include "Sessions.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <string>

namespace corvane::test {
namespace {

class KeychainKey : public testing::Test {
 protected:
  void expectEverythingRefusedAndNothingLost() {
    EXPECT_EQ(readSession(keychain_, "ada").status, errSecAuthFailed);
    EXPECT_EQ(readSession(keychain_, "nobody").status, errSecItemNotFound);
    EXPECT_EQ(countSessions(keychain_).first, errSecAuthFailed);
    EXPECT_EQ(removeSession(keychain_, "ada"), errSecAuthFailed);
    EXPECT_EQ(addSession(keychain_, "bob", "x"), errSecAuthFailed);
    EXPECT_NE(problem_.find("keychain.key"), std::string::npos) << problem_;
    EXPECT_EQ(RawDatabase(folder_).value("SELECT cast(count(*) AS text) FROM items"), "1");
  }

  std::string readKey() const {
    std::ifstream stream(key_, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  void writeKey(const std::string& bytes) const {
    std::ofstream(key_, std::ios::binary | std::ios::trunc) << bytes;
    ASSERT_EQ(::chmod(key_.c_str(), 0600), 0);
  }

  TemporaryFolder temporary_;
  std::filesystem::path folder_ = temporary_.path() / "keychain";
  std::filesystem::path key_ = folder_ / "keychain.key";
  std::string problem_;
  EncryptedFileKeychain keychain_{folder_, [this](const std::string& problem) { problem_ = problem; }};
};

TEST_F(KeychainKey, IsThirtyTwoBytesThatDifferFromKeychainToKeychain) {
  ASSERT_EQ(addSession(keychain_, "ada", "secret"), errSecSuccess);
  EncryptedFileKeychain other(temporary_.path() / "other");
  ASSERT_EQ(addSession(other, "ada", "secret"), errSecSuccess);
  std::ifstream stream(temporary_.path() / "other" / "keychain.key", std::ios::binary);
  const std::string otherKey{std::istreambuf_iterator<char>(stream), {}};
  EXPECT_EQ(readKey().size(), 32U);
  EXPECT_EQ(otherKey.size(), 32U);
  EXPECT_NE(readKey(), otherKey);
}

TEST_F(KeychainKey, ALostKeyLosesNothingAndCanBePutBack) {
  ASSERT_EQ(addSession(keychain_, "ada", "secret"), errSecSuccess);
  const auto key = readKey();
  std::filesystem::remove(key_);
  expectEverythingRefusedAndNothingLost();
  EXPECT_FALSE(std::filesystem::exists(key_));
  writeKey(key);
  EXPECT_EQ(readSession(keychain_, "ada").text, "secret");
  EXPECT_EQ(addSession(keychain_, "bob", "x"), errSecSuccess);
}

TEST_F(KeychainKey, AKeyOfAnotherSizeIsRefusedAndLeftAlone) {
  ASSERT_EQ(addSession(keychain_, "ada", "secret"), errSecSuccess);
  const auto key = readKey();
  for (const auto& damaged : {std::string(), key.substr(0, 31), key + "x"}) {
    writeKey(damaged);
    expectEverythingRefusedAndNothingLost();
    EXPECT_EQ(readKey(), damaged);
  }
  writeKey(key);
  EXPECT_EQ(readSession(keychain_, "ada").text, "secret");
}

TEST_F(KeychainKey, AnotherKeyIsRefusedAndLeftAlone) {
  ASSERT_EQ(addSession(keychain_, "ada", "secret"), errSecSuccess);
  const auto key = readKey();
  auto flipped = key;
  flipped[7] = static_cast<char>(flipped[7] ^ 4);
  for (const auto& wrong : {std::string(32, 'k'), flipped}) {
    writeKey(wrong);
    expectEverythingRefusedAndNothingLost();
    EXPECT_EQ(readKey(), wrong);
  }
  writeKey(key);
  EXPECT_EQ(readSession(keychain_, "ada").text, "secret");
}

TEST_F(KeychainKey, ALostOrTruncatedKeyIsReplacedWhileThereIsNothingItCouldOpen) {
  ASSERT_EQ(addSession(keychain_, "ada", "secret"), errSecSuccess);
  ASSERT_EQ(removeSession(keychain_, "ada"), errSecSuccess);
  const auto key = readKey();
  writeKey(key.substr(0, 5));
  EXPECT_EQ(addSession(keychain_, "ada", "second"), errSecSuccess);
  EXPECT_EQ(readSession(keychain_, "ada").text, "second");
  ASSERT_EQ(removeSession(keychain_, "ada"), errSecSuccess);
  std::filesystem::remove(key_);
  EXPECT_EQ(addSession(keychain_, "ada", "third"), errSecSuccess);
  EXPECT_EQ(readSession(keychain_, "ada").text, "third");
  EXPECT_EQ(readKey().size(), 32U);
}

TEST_F(KeychainKey, AKeyThatOutlivedItsDatabaseIsUsedAgain) {
  ASSERT_EQ(addSession(keychain_, "ada", "secret"), errSecSuccess);
  const auto key = readKey();
  std::filesystem::remove(folder_ / "keychain.db");
  EXPECT_EQ(readSession(keychain_, "ada").status, errSecItemNotFound);
  EXPECT_EQ(addSession(keychain_, "ada", "new"), errSecSuccess);
  EXPECT_EQ(readKey(), key);
}

TEST_F(KeychainKey, ADamagedNoteOfTheKeyInUseLetsItemsBeReadButNotWritten) {
  ASSERT_EQ(addSession(keychain_, "ada", "secret"), errSecSuccess);
  RawDatabase(folder_).execute("UPDATE key_in_use SET identifier = zeroblob(16)");
  EXPECT_EQ(readSession(keychain_, "ada").text, "secret");
  EXPECT_EQ(addSession(keychain_, "bob", "x"), errSecAuthFailed);
  EXPECT_EQ(removeSession(keychain_, "ada"), errSecAuthFailed);
}

TEST_F(KeychainKey, ADraftThatACrashLeftBehindIsNoObstacle) {
  ASSERT_TRUE(std::filesystem::create_directory(folder_));
  ASSERT_EQ(::chmod(folder_.c_str(), 0700), 0);
  std::ofstream(folder_ / "keychain.key.new") << "half a k";
  EXPECT_EQ(addSession(keychain_, "ada", "secret"), errSecSuccess);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "keychain.key.new"));
  EXPECT_EQ(readKey().size(), 32U);
}

}  // namespace
}  // namespace corvane::test
