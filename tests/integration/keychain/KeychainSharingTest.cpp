#include "RawDatabase.hpp"
#include "Sessions.hpp"
#include "Worker.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace corvane::test {
namespace {

using namespace std::chrono_literals;

class KeychainSharing : public testing::Test {
 protected:
  TemporaryFolder temporary_;
  std::filesystem::path folder_ = temporary_.path() / "keychain";
  std::vector<std::string> problems_;
  EncryptedFileKeychain keychain_{folder_,
                                  [this](const std::string& problem) { problems_.push_back(problem); }, 20ms};
};

TEST_F(KeychainSharing, ProcessesThatUseItForTheFirstTimeAtOnceShareOneKey) {
  for (int round = 0; round < 10; ++round) {
    const auto folder = temporary_.path() / std::to_string(round) / "keychain";
    Worker first({"save-once", folder.string(), "ada"});
    Worker second({"save-once", folder.string(), "bob"});
    ASSERT_EQ(first.read(1) + second.read(1), "ss");
    first.go();
    second.go();
    EXPECT_EQ(first.finish() + second.finish(), "0\n0\n");
    EncryptedFileKeychain keychain(folder);
    EXPECT_EQ(readSession(keychain, "ada").text, sessionText("ada", 1));
    EXPECT_EQ(readSession(keychain, "bob").text, sessionText("bob", 1));
  }
}

TEST_F(KeychainSharing, KeychainsOfOneProcessThatAreUsedForTheFirstTimeAtOnceShareOneKey) {
  for (int round = 0; round < 10; ++round) {
    const auto folder = temporary_.path() / std::to_string(round) / "keychain";
    {
      std::vector<std::jthread> threads;
      for (int i = 0; i < 4; ++i) {
        threads.emplace_back([folder, name = std::to_string(i)] {
          EncryptedFileKeychain keychain(folder);
          EXPECT_EQ(addSession(keychain, name, name), errSecSuccess);
        });
      }
    }
    EncryptedFileKeychain keychain(folder);
    for (const auto* name : {"0", "1", "2", "3"}) EXPECT_EQ(readSession(keychain, name).text, name);
  }
}

TEST_F(KeychainSharing, WhatOneKeychainSavesTheOtherSeesAtOnce) {
  EncryptedFileKeychain other(folder_);
  EXPECT_EQ(readSession(other, "ada").status, errSecItemNotFound);
  ASSERT_EQ(addSession(keychain_, "ada", "one"), errSecSuccess);
  EXPECT_EQ(readSession(other, "ada").text, "one");
  EXPECT_EQ(addSession(other, "ada", "two"), errSecDuplicateItem);
  EXPECT_EQ(removeSession(other, "ada"), errSecSuccess);
  EXPECT_EQ(readSession(keychain_, "ada").status, errSecItemNotFound);
}

TEST_F(KeychainSharing, AWriterThatNeverEndsMakesItUnavailableForWritersOnly) {
  ASSERT_EQ(addSession(keychain_, "ada", "secret"), errSecSuccess);
  {
    RawDatabase writer(folder_);
    writer.execute("BEGIN IMMEDIATE");
    EXPECT_EQ(addSession(keychain_, "bob", "x"), errSecNotAvailable);
    EXPECT_EQ(removeSession(keychain_, "ada"), errSecNotAvailable);
    EXPECT_EQ(readSession(keychain_, "ada").text, "secret");
    EXPECT_EQ(problems_.size(), 2U);
    writer.execute("ROLLBACK");
  }
  EXPECT_EQ(addSession(keychain_, "bob", "x"), errSecSuccess);
}

TEST_F(KeychainSharing, AFileThatIsLockedAltogetherIsUnavailableAndNotMissing) {
  ASSERT_EQ(addSession(*std::make_unique<EncryptedFileKeychain>(folder_), "ada", "secret"), errSecSuccess);
  {
    RawDatabase owner(folder_);
    owner.execute("PRAGMA locking_mode = EXCLUSIVE");
    owner.execute("BEGIN EXCLUSIVE");
    EXPECT_EQ(readSession(keychain_, "ada").status, errSecNotAvailable);
    EXPECT_EQ(addSession(keychain_, "bob", "x"), errSecNotAvailable);
    owner.execute("ROLLBACK");
  }
  EXPECT_EQ(readSession(keychain_, "ada").text, "secret");
}

TEST_F(KeychainSharing, AFolderThatWasRemovedMeanwhileIsMadeAnew) {
  ASSERT_EQ(addSession(keychain_, "ada", "old"), errSecSuccess);
  std::filesystem::remove_all(folder_);
  EXPECT_EQ(readSession(keychain_, "ada").status, errSecItemNotFound);
  EXPECT_EQ(addSession(keychain_, "ada", "new"), errSecSuccess);
  EXPECT_EQ(readSession(keychain_, "ada").text, "new");
}

}  // namespace
}  // namespace corvane::test
