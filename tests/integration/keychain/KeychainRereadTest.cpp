#include "OwnMemory.hpp"
#include "RawDatabase.hpp"
#include "Sessions.hpp"
#include "Worker.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <utility>

// An open keychain keeps its file, its statements and its key between two reads. Each test reads once,
// changes something outside the keychain, and reads again.

namespace corvane::test {
namespace {

class KeychainReread : public testing::Test {
 protected:
  KeychainReread() {
    EXPECT_EQ(addSession(keychain(), "ada", "ada's secret"), errSecSuccess);
    EXPECT_EQ(addSession(keychain(), "bob", "bob's secret"), errSecSuccess);
    readAda();
  }

  void readAda() { EXPECT_EQ(readSession(keychain(), "ada").text, "ada's secret"); }

  Keychain& keychain() { return *keychain_; }

  /// What a lookup of the service alone, or of more, finds first.
  std::string firstSecret(KeychainDictionary query) {
    query.emplace(kSecReturnData, true);
    KeychainValue result;
    EXPECT_EQ(keychain().SecItemCopyMatching(query, &result), errSecSuccess);
    return result.data() ? std::string(textView(*result.data())) : "";
  }

  TemporaryFolder temporary_{TemporaryFolder::memory()};
  std::filesystem::path folder_ = temporary_.path() / "keychain";
  std::filesystem::path database_ = folder_ / "keychain.db";
  std::filesystem::path key_ = folder_ / "keychain.key";
  std::unique_ptr<EncryptedFileKeychain> keychain_ = std::make_unique<EncryptedFileKeychain>(folder_);
};

TEST_F(KeychainReread, SeesWhatAnotherKeychainChanged) {
  EncryptedFileKeychain other(folder_);
  ASSERT_EQ(removeSession(other, "ada"), errSecSuccess);
  EXPECT_EQ(readSession(keychain(), "ada").status, errSecItemNotFound);
  ASSERT_EQ(addSession(other, "ada", "new"), errSecSuccess);
  EXPECT_EQ(readSession(keychain(), "ada").text, "new");
  ASSERT_EQ(removeSession(other, "ada"), errSecSuccess);
  ASSERT_EQ(addSession(other, "ada", "newer"), errSecSuccess);
  EXPECT_EQ(readSession(keychain(), "ada").text, "newer");
}

TEST_F(KeychainReread, SeesWhatItChangedItself) {
  ASSERT_EQ(removeSession(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(readSession(keychain(), "ada").status, errSecItemNotFound);
  ASSERT_EQ(addSession(keychain(), "ada", "new"), errSecSuccess);
  EXPECT_EQ(readSession(keychain(), "ada").text, "new");
}

TEST_F(KeychainReread, SeesWhatAnotherProcessSaved) {
  Worker saver({"save-loop", folder_.string(), "ada", "worker", "1"});
  ASSERT_EQ(saver.read(2), "sd");
  ASSERT_EQ(saver.read(1), "a");
  const auto session = readSession(keychain(), "ada");
  EXPECT_TRUE(session.status == errSecItemNotFound || session.text.starts_with("worker:")) << session.text;
  saver.kill();
  EXPECT_NE(readSession(keychain(), "ada").text, "ada's secret");
}

TEST_F(KeychainReread, FailsWhenTheItemWasDamaged) {
  RawDatabase(folder_).execute("UPDATE items SET sealed = zeroblob(40) WHERE account = 'ada'");
  EXPECT_EQ(readSession(keychain(), "ada").status, errSecDecode);
}

TEST_F(KeychainReread, FailsWhenItemsWereSwapped) {
  RawDatabase(folder_).execute(
      "UPDATE items SET account = 'x' WHERE id = 1;"
      "UPDATE items SET account = 'ada' WHERE id = 2;"
      "UPDATE items SET account = 'bob' WHERE id = 1");
  EXPECT_EQ(readSession(keychain(), "ada").status, errSecDecode);
}

TEST_F(KeychainReread, FailsWhenTheKeyIsGone) {
  const auto away = temporary_.path() / "away";
  std::filesystem::rename(key_, away);
  EXPECT_EQ(readSession(keychain(), "ada").status, errSecAuthFailed);
  std::filesystem::rename(away, key_);
  EXPECT_EQ(readSession(keychain(), "ada").text, "ada's secret");
}

TEST_F(KeychainReread, FailsWhenTheKeyIsAnother) {
  EncryptedFileKeychain other(temporary_.path() / "other");
  ASSERT_EQ(addSession(other, "ada", "x"), errSecSuccess);
  std::filesystem::rename(temporary_.path() / "other" / "keychain.key", key_);
  EXPECT_EQ(readSession(keychain(), "ada").status, errSecAuthFailed);
}

TEST_F(KeychainReread, FailsWhenRightsHaveChanged) {
  for (const auto& path : {folder_, database_, key_}) {
    struct stat before {};
    ASSERT_EQ(::lstat(path.c_str(), &before), 0);
    readAda();
    ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
    EXPECT_EQ(readSession(keychain(), "ada").status, errSecNotAvailable) << path;
    ASSERT_EQ(::chmod(path.c_str(), before.st_mode & 07777), 0);
    readAda();
  }
}

TEST_F(KeychainReread, ReadsTheFilesThatLieInTheFolderNow) {
  const auto other = temporary_.path() / "other";
  { EXPECT_EQ(addSession(*std::make_unique<EncryptedFileKeychain>(other), "ada", "other's"), errSecSuccess); }
  const auto away = temporary_.path() / "away";
  std::filesystem::rename(folder_, away);
  EXPECT_EQ(readSession(keychain(), "ada").status, errSecItemNotFound);
  std::filesystem::rename(other, folder_);
  EXPECT_EQ(readSession(keychain(), "ada").text, "other's");
  std::filesystem::rename(database_, temporary_.path() / "database");
  EXPECT_EQ(readSession(keychain(), "ada").status, errSecItemNotFound);
}

TEST_F(KeychainReread, AnswersEachQueryByItself) {
  EXPECT_EQ(readSession(keychain(), "bob").text, "bob's secret");
  EXPECT_EQ(firstSecret(passwordQuery()), "ada's secret")
      << "the oldest that matches, not the one that was read last";
  EXPECT_EQ(readSession(keychain(), "bob").text, "bob's secret");
  EXPECT_EQ(readSession(keychain(), "nobody").status, errSecItemNotFound);
  auto synchronizable = accountQuery("bob");
  synchronizable.emplace(kSecAttrSynchronizable, true);
  synchronizable.emplace(kSecReturnData, true);
  KeychainValue result;
  EXPECT_EQ(keychain().SecItemCopyMatching(synchronizable, &result), errSecItemNotFound);
}

TEST_F(KeychainReread, GivesAttributesAndSecretTogether) {
  auto query = accountQuery("ada");
  query.emplace(kSecReturnData, true);
  query.emplace(kSecReturnAttributes, true);
  for (int i = 0; i < 2; ++i) {
    KeychainValue result;
    ASSERT_EQ(keychain().SecItemCopyMatching(query, &result), errSecSuccess);
    ASSERT_TRUE(result.dictionary());
    EXPECT_EQ(result.dictionary()->at(std::string(kSecAttrAccount)), KeychainValue("ada"));
    EXPECT_EQ(result.dictionary()->at(std::string(kSecValueData)),
              KeychainValue(dataFromText("ada's secret")));
  }
}

TEST_F(KeychainReread, ReadsSecretsOfAnySize) {
  for (const std::size_t size : {0U, 1U, 2000U, 100'000U}) {
    const auto account = std::to_string(size);
    ASSERT_EQ(addSession(keychain(), account, std::string(size, 'x')), errSecSuccess);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(readSession(keychain(), account).text, std::string(size, 'x'));
  }
}

// Readers of one keychain must never see a session older than the last that was saved before they asked.
TEST_F(KeychainReread, NeverGivesASessionOlderThanTheLastSaved) {
  constexpr int last = 150;
  EncryptedFileKeychain writing(folder_);
  std::atomic<int> saved{0};
  ASSERT_EQ(removeSession(writing, "ada"), errSecSuccess);
  std::jthread writer([&] {
    for (int number = 1; number <= last; ++number) {
      EXPECT_EQ(addSession(writing, "ada", sessionText("ada", number)), errSecSuccess);
      saved = number;
      if (number == last) break;
      EXPECT_EQ(removeSession(writing, "ada"), errSecSuccess);
    }
  });
  const auto read = [&] {
    while (saved < last) {
      const int before = saved;
      const auto session = readSession(keychain(), "ada");
      if (session.status == errSecItemNotFound) continue;
      ASSERT_EQ(session.status, errSecSuccess);
      ASSERT_TRUE(isWholeSession(session.text));
      EXPECT_GE(std::stoi(session.text.substr(4)), before);
    }
  };
  std::jthread other(read);
  read();
  writer.join();
  EXPECT_EQ(readSession(keychain(), "ada").text, sessionText("ada", last));
}

TEST_F(KeychainReread, LeavesNoSecretInMemoryOnceTheCallerDroppedIt) {
  const Marker marker;
  {
    Data secret(2000, std::byte{'x'});
    marker.write(secret.data());
    auto attributes = accountQuery("carol");
    attributes.emplace(kSecValueData, std::move(secret));
    ASSERT_EQ(keychain().SecItemAdd(attributes, nullptr), errSecSuccess);
  }
  EXPECT_EQ(marker.count(), 0U) << "after saving";
  auto query = accountQuery("carol");
  query.emplace(kSecReturnData, true);
  {
    KeychainValue result;
    ASSERT_EQ(keychain().SecItemCopyMatching(query, &result), errSecSuccess);
    EXPECT_EQ(marker.count(), 1U) << "the caller's own";
  }
  EXPECT_EQ(marker.count(), 0U) << "after reading";
}

}  // namespace
}  // namespace corvane::test
