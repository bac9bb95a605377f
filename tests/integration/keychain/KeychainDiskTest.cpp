#include "Files.hpp"
#include "RawDatabase.hpp"
#include "Sessions.hpp"
#include "Worker.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace corvane::test {
namespace {

class KeychainDisk : public testing::Test {
 protected:
  void save() {
    EncryptedFileKeychain keychain(folder_);
    ASSERT_EQ(addSession(keychain, "ada", "secret"), errSecSuccess);
  }

  /// Runs a worker as a user whom file modes bind; root they do not.
  std::string runUnprivileged(const std::string& command) {
    std::vector<std::string> words;
    if (::geteuid() == 0) {
      words = {"--user", "65534"};
      for (const auto& entry : std::filesystem::recursive_directory_iterator(temporary_.path()))
        giveAway(entry.path());
      giveAway(temporary_.path());
    }
    words.insert(words.end(), {command, folder_.string(), "ada"});
    return Worker(words).finish();
  }

  static void giveAway(const std::filesystem::path& path) {
    EXPECT_EQ(::chown(path.c_str(), 65534, 65534), 0);
  }

  static std::string line(const std::string& words, OSStatus status) {
    return words + std::to_string(status) + "\n";
  }

  /// What the worker tells once the disk was full: the failed item is absent, and no other is lost.
  static inline const std::string onlyTheLastIsMissing =
      line("failed ", errSecIO) + line("failed one ", errSecItemNotFound) + "lost 0\nstored some 1\n";

  TemporaryFolder temporary_{TemporaryFolder::memory()};
  std::filesystem::path folder_ = temporary_.path() / "keychain";
};

TEST_F(KeychainDisk, AFileThatMayNotGrowFailsTheAdditionAndKeepsTheRest) {
  Worker worker({"--file-limit", "400000", "fill", folder_.string()});
  EXPECT_EQ(worker.finish(), onlyTheLastIsMissing);
  EncryptedFileKeychain keychain(folder_);
  EXPECT_EQ(readSession(keychain, "account 0").text, sessionText("fill", 0));
  EXPECT_EQ(addSession(keychain, "another", "x"), errSecSuccess);
}

TEST_F(KeychainDisk, AFullDiskFailsTheAdditionAndKeepsTheRest) {
  Worker worker({"--small-disk", "262144", "fill", folder_.string()});
  const auto told = worker.finish();
  if (worker.exitCode() == workerNotPermitted) GTEST_SKIP() << "no right to mount a small disk here";
  EXPECT_EQ(told, onlyTheLastIsMissing);
}

TEST_F(KeychainDisk, ADiskThatIsFullFromTheStartIsAnErrorAndNotAMissingItem) {
  save();
  Worker worker({"--file-limit", "0", "save-once", folder_.string(), "bob"});
  EXPECT_EQ(worker.finish(), "s" + line("", errSecIO));
  EncryptedFileKeychain keychain(folder_);
  EXPECT_EQ(readSession(keychain, "ada").text, "secret");
  EXPECT_EQ(readSession(keychain, "bob").status, errSecItemNotFound);
}

TEST_F(KeychainDisk, AFolderThatCannotBeWrittenFailsTheAddition) {
  ASSERT_EQ(::mkdir(folder_.c_str(), 0500), 0);
  EXPECT_EQ(runUnprivileged("save-once"), "s" + line("", errSecIO));
  EXPECT_EQ(runUnprivileged("read"), line("", errSecItemNotFound));
}

TEST_F(KeychainDisk, AReadOnlyKeychainCanBeReadAndStaysAsItIs) {
  save();
  ASSERT_EQ(::chmod((folder_ / "keychain.db").c_str(), 0400), 0);
  ASSERT_EQ(::chmod(folder_.c_str(), 0500), 0);
  EXPECT_EQ(runUnprivileged("save-once"), "s" + line("", errSecIO));
  EXPECT_EQ(runUnprivileged("remove"), line("", errSecIO));
  EXPECT_EQ(runUnprivileged("read"), line("", errSecSuccess));
  EXPECT_EQ(runUnprivileged("list"), "0 1\n");
}

TEST_F(KeychainDisk, AFolderThatCannotBeWrittenCanBeRead) {
  save();
  ASSERT_EQ(::chmod(folder_.c_str(), 0500), 0);
  EXPECT_EQ(runUnprivileged("read"), line("", errSecSuccess));
  EXPECT_EQ(runUnprivileged("list"), "0 1\n");
  EXPECT_EQ(runUnprivileged("remove"), line("", errSecIO));
  EXPECT_EQ(runUnprivileged("read"), line("", errSecSuccess));
}

TEST_F(KeychainDisk, AReadOnlyFileSystemCanBeRead) {
  save();
  const auto run = [this](const std::string& command) {
    Worker worker({"--read-only", "1", command, folder_.string(), "ada"});
    auto told = worker.finish();
    return worker.exitCode() == workerNotPermitted ? "not permitted" : told;
  };
  const auto read = run("read");
  if (read == "not permitted") GTEST_SKIP() << "no right to mount anything here";
  EXPECT_EQ(read, line("", errSecSuccess));
  EXPECT_EQ(run("list"), "0 1\n");
  EXPECT_EQ(run("save-once"), "s" + line("", errSecIO));
  EXPECT_EQ(run("remove"), line("", errSecIO));
}

TEST_F(KeychainDisk, AnUnfinishedWriteOnAReadOnlyDiskIsAnError) {
  save();
  std::string journal;
  {
    RawDatabase killed(folder_);
    killed.execute("BEGIN; DELETE FROM items");
    journal = contents(folder_ / "keychain.db-journal");
    killed.execute("COMMIT");
  }
  overwrite(folder_ / "keychain.db-journal", journal);
  ASSERT_EQ(::chmod(folder_.c_str(), 0500), 0);
  EXPECT_EQ(runUnprivileged("read"), line("", errSecIO));
  ASSERT_EQ(::chmod(folder_.c_str(), 0700), 0);
  EXPECT_EQ(runUnprivileged("read"), line("", errSecSuccess));
}

TEST_F(KeychainDisk, AFullDiskCanBeRead) {
  Worker worker({"--small-disk", "262144", "full", folder_.string()});
  const auto told = worker.finish();
  if (worker.exitCode() == workerNotPermitted) GTEST_SKIP() << "no right to mount a small disk here";
  EXPECT_EQ(told, line("saved ", errSecSuccess) + line("read ", errSecSuccess) +
                      line("listed ", errSecSuccess) + line("added ", errSecIO) + line("removed ", errSecIO) +
                      line("read ", errSecSuccess));
}

TEST_F(KeychainDisk, AFolderThatMayNotBeEnteredIsAnErrorAndNotAMissingItem) {
  save();
  ASSERT_EQ(::chmod(folder_.c_str(), 0), 0);
  EXPECT_EQ(runUnprivileged("read"), line("", errSecIO));
  ASSERT_EQ(::chmod(folder_.c_str(), 0700), 0);
}

}  // namespace
}  // namespace corvane::test
