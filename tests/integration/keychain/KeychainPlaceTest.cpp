#include "RawDatabase.hpp"
#include "Sessions.hpp"
#include "Worker.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace corvane::test {
namespace {

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 07777;
}

/// Sets a variable of the environment, or unsets it, and puts it back as it was.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    set(value);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() { set(old_ ? old_->c_str() : nullptr); }

 private:
  void set(const char* value) { value ? ::setenv(name_, value, 1) : ::unsetenv(name_); }

  const char* name_;
  std::optional<std::string> old_;
};

class KeychainPlace : public testing::Test {
 protected:
  std::unique_ptr<EncryptedFileKeychain> open(const std::filesystem::path& folder) {
    return std::make_unique<EncryptedFileKeychain>(
        folder, [this](const std::string& problem) { problem_ = problem; });
  }

  void save() { ASSERT_EQ(addSession(*open(folder_), "ada", "secret"), errSecSuccess); }

  void expectRefused(EncryptedFileKeychain& keychain, const std::string& reason) {
    EXPECT_EQ(readSession(keychain, "ada").status, errSecNotAvailable);
    EXPECT_EQ(addSession(keychain, "bob", "x"), errSecNotAvailable);
    EXPECT_EQ(removeSession(keychain, "ada"), errSecNotAvailable);
    EXPECT_NE(problem_.find(reason), std::string::npos) << problem_;
  }

  void expectRefused(const std::string& reason) { expectRefused(*open(folder_), reason); }

  /// Runs the command that the last problem tells, as a user would who pastes it.
  void runToldCommand() {
    const auto at = problem_.find("un: ");
    ASSERT_NE(at, std::string::npos) << problem_;
    EXPECT_EQ(problem_.find('\n'), std::string::npos) << problem_;
    EXPECT_EQ(std::system(problem_.substr(at + 4).c_str()), 0) << problem_;
  }

  TemporaryFolder temporary_;
  std::filesystem::path folder_ = temporary_.path() / "keychain";
  std::filesystem::path database_ = folder_ / "keychain.db";
  std::filesystem::path key_ = folder_ / "keychain.key";
  std::string problem_;
};

TEST_F(KeychainPlace, OnlyAnAdditionCreatesAnything) {
  const auto keychain = open(temporary_.path() / "a" / "keychain");
  EXPECT_EQ(readSession(*keychain, "ada").status, errSecItemNotFound);
  EXPECT_EQ(removeSession(*keychain, "ada"), errSecItemNotFound);
  EXPECT_EQ(countSessions(*keychain).first, errSecItemNotFound);
  EXPECT_EQ(keychain->SecItemAdd(accountQuery("ada"), nullptr), errSecParam);
  EXPECT_TRUE(std::filesystem::is_empty(temporary_.path()));
}

TEST_F(KeychainPlace, IsPrivateUnderAnyUmask) {
  for (const auto* mask : {"000", "022", "077", "0277", "0777"}) {
    const auto top = temporary_.path() / mask;
    const auto folder = top / "share" / "corvane";
    Worker saver({"--umask", mask, "save-loop", folder.string(), "ada", "ada", "1"});
    ASSERT_EQ(saver.read(3), "sda") << mask;
    for (const auto& made : {top, top / "share", folder})
      EXPECT_EQ(modeOf(made), 0700U) << mask << " " << made;
    saver.kill();  // perhaps in the midst of a write, which leaves a journal
    for (const auto& file : std::filesystem::directory_iterator(folder))
      EXPECT_EQ(modeOf(file.path()), 0600U) << mask << " " << file.path();
    EXPECT_NE(readSession(*open(folder), "ada").status, errSecNotAvailable) << problem_;
  }
}

TEST_F(KeychainPlace, IsTheUsersDataFolderByDefault) {
  const Variable data("XDG_DATA_HOME", temporary_.path().c_str());
  EncryptedFileKeychain keychain;
  ASSERT_EQ(addSession(keychain, "ada", "secret"), errSecSuccess);
  EXPECT_TRUE(std::filesystem::exists(temporary_.path() / "corvane" / "keychain.db"));
}

TEST_F(KeychainPlace, IsUnderHomeWhenTheDataFolderIsNotAnAbsolutePath) {
  const Variable home("HOME", temporary_.path().c_str());
  for (const auto* value : {static_cast<const char*>(nullptr), "", "relative/share"}) {
    const Variable data("XDG_DATA_HOME", value);
    EncryptedFileKeychain keychain;
    ASSERT_EQ(addSession(keychain, "ada", "secret"), errSecSuccess);
    EXPECT_TRUE(std::filesystem::exists(temporary_.path() / ".local/share/corvane/keychain.db"));
    EXPECT_EQ(removeSession(keychain, "ada"), errSecSuccess);
  }
}

TEST_F(KeychainPlace, IsNowhereWhenTheEnvironmentNamesNone) {
  const Variable home("HOME", nullptr);
  const Variable data("XDG_DATA_HOME", nullptr);
  expectRefused(*open({}), "neither XDG_DATA_HOME nor HOME");
}

TEST_F(KeychainPlace, AFolderOpenToOthersIsRefused) {
  save();
  for (const mode_t mode : {0710U, 0701U, 0755U, 0777U, 01700U}) {
    ASSERT_EQ(::chmod(folder_.c_str(), mode), 0);
    expectRefused("chmod");
  }
  ASSERT_EQ(::chmod(folder_.c_str(), 0700), 0);
  EXPECT_EQ(readSession(*open(folder_), "ada").text, "secret");
}

TEST_F(KeychainPlace, AFileOpenToOthersIsRefused) {
  save();
  for (const auto& file : {database_, key_}) {
    for (const mode_t mode : {0640U, 0604U, 0644U, 0666U}) {
      ASSERT_EQ(::chmod(file.c_str(), mode), 0);
      expectRefused("keychain.");
    }
    ASSERT_EQ(::chmod(file.c_str(), 0600), 0);
  }
  EXPECT_EQ(readSession(*open(folder_), "ada").text, "secret");
}

TEST_F(KeychainPlace, RightsThatChangeWhileItIsInUseAreNoticed) {
  const auto keychain = open(folder_);
  ASSERT_EQ(addSession(*keychain, "ada", "secret"), errSecSuccess);
  for (const auto& path : {folder_, database_, key_}) {
    const auto mode = modeOf(path);
    ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
    expectRefused(*keychain, "mode 0755");
    ASSERT_EQ(::chmod(path.c_str(), mode), 0);
    EXPECT_EQ(readSession(*keychain, "ada").text, "secret");
  }
}

// Also where the shell would take the path for something else.
TEST_F(KeychainPlace, TheCommandToldForWrongRightsPutsThemRight) {
  for (const auto* name : {"keychain", "it's a $HOME; `place` \"\\", "two\nlines %d \\n", "-rf"}) {
    const auto folder = temporary_.path() / name;
    ASSERT_EQ(addSession(*open(folder), "ada", "secret"), errSecSuccess);
    for (const auto& path : {folder, folder / "keychain.db", folder / "keychain.key"}) {
      ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
      expectRefused(*open(folder), "has mode 0755");
      runToldCommand();
      EXPECT_EQ(readSession(*open(folder), "ada").text, "secret") << path;
    }
  }
}

TEST_F(KeychainPlace, TheCommandToldForALinkPutsItsTargetInItsPlace) {
  save();
  for (const auto& path : {folder_, database_, key_}) {
    const auto moved = temporary_.path() / "moved";
    std::filesystem::rename(path, moved);
    std::filesystem::create_symlink(moved, path);
    expectRefused(path.string() + "' is a symbolic link");
    runToldCommand();
    EXPECT_FALSE(std::filesystem::exists(moved));
    EXPECT_EQ(readSession(*open(folder_), "ada").text, "secret") << path;
  }
}

TEST_F(KeychainPlace, TheCommandToldForANewerFileSetsItAside) {
  save();
  RawDatabase(folder_).execute("PRAGMA user_version = 7");
  expectRefused(database_.string() + "' was made by a newer version of Corvane (layout 7)");
  runToldCommand();
  EXPECT_EQ(addSession(*open(folder_), "ada", "new"), errSecSuccess);
  EXPECT_TRUE(std::filesystem::exists(folder_.string() + ".old/keychain.db"));
}

TEST_F(KeychainPlace, TheCommandToldForSomethingElseMovesItAway) {
  ASSERT_EQ(::mkfifo(folder_.c_str(), 0700), 0);
  expectRefused(folder_.string() + "' is not a folder");
  runToldCommand();
  EXPECT_EQ(addSession(*open(folder_), "ada", "secret"), errSecSuccess);
}

TEST_F(KeychainPlace, WhatBelongsToSomeoneElseIsRefused) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  save();
  for (const auto& path : {folder_, database_, key_}) {
    ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
    expectRefused(path.string() + "' belongs to user 65534, and the program runs as user 0");
    ASSERT_EQ(::chown(path.c_str(), 0, 0), 0);
  }
  EXPECT_EQ(readSession(*open(folder_), "ada").text, "secret");
}

TEST_F(KeychainPlace, AUserIsToldHowToGetBackWhatBelongsToRoot) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can run a program as another user";
  ASSERT_EQ(::chmod(temporary_.path().c_str(), 0755), 0);
  save();
  Worker user({"--user", "65534", "problem", folder_.string(), "ada"});
  EXPECT_EQ(user.finish(), "The keychain was refused: '" + folder_.string() +
                               "' belongs to user 0, and the program runs as user 65534. If it is yours, "
                               "run: sudo chown 65534 '" +
                               folder_.string() + "'\n");
}

TEST_F(KeychainPlace, SymbolicLinksAreRefusedAndNotFollowed) {
  save();
  for (const auto& path : {database_, key_, folder_}) {
    const auto moved = temporary_.path() / "moved";
    std::filesystem::rename(path, moved);
    std::filesystem::create_symlink(moved, path);
    expectRefused("symbolic link");
    std::filesystem::remove(path);
    std::filesystem::rename(moved, path);
  }
  std::filesystem::create_symlink(folder_, temporary_.path() / "link");
  expectRefused(*open((temporary_.path() / "link").string() + "/"), "symbolic link");
  for (const auto* suffix : {"-wal", "-shm", "-journal"}) {
    const auto link = database_.string() + suffix;
    std::filesystem::create_symlink(temporary_.path() / "elsewhere", link);
    expectRefused("symbolic link");
    std::filesystem::remove(link);
  }
  EXPECT_FALSE(std::filesystem::exists(temporary_.path() / "elsewhere"));
  EXPECT_EQ(readSession(*open(folder_), "ada").text, "secret");
}

TEST_F(KeychainPlace, ADanglingLinkInPlaceOfAFileIsRefusedAndNotFollowed) {
  ASSERT_TRUE(std::filesystem::create_directory(folder_));
  ASSERT_EQ(::chmod(folder_.c_str(), 0700), 0);
  for (const auto& path : {database_, key_}) {
    std::filesystem::create_symlink(temporary_.path() / "elsewhere", path);
    EXPECT_EQ(addSession(*open(folder_), "bob", "x"), errSecNotAvailable);
    std::filesystem::remove(path);
  }
  EXPECT_FALSE(std::filesystem::exists(temporary_.path() / "elsewhere"));
}

TEST_F(KeychainPlace, APathThroughALinkElsewhereIsFine) {
  std::filesystem::create_directory(temporary_.path() / "real");
  std::filesystem::create_directory_symlink(temporary_.path() / "real", temporary_.path() / "link");
  const auto keychain = open(temporary_.path() / "link" / "keychain");
  EXPECT_EQ(addSession(*keychain, "ada", "secret"), errSecSuccess);
  EXPECT_EQ(readSession(*keychain, "ada").text, "secret");
}

TEST_F(KeychainPlace, SomethingElseInPlaceOfAFileIsRefused) {
  save();
  std::filesystem::remove(key_);
  ASSERT_EQ(::mkfifo(key_.c_str(), 0600), 0);
  expectRefused("not a regular file");
  std::filesystem::remove(key_);
  std::filesystem::create_directory(key_);
  expectRefused("not a regular file");
  std::filesystem::remove(key_);
  std::filesystem::remove_all(folder_);
  std::ofstream(folder_) << "a file";
  expectRefused("not a folder");
}

// None of them may be opened: a FIFO would keep the caller waiting.
TEST_F(KeychainPlace, SomethingElseInPlaceOfTheDatabaseOrAJournalIsRefused) {
  save();
  for (const auto* suffix : {"", "-wal", "-shm", "-journal"}) {
    const auto path = database_.string() + suffix;
    const auto away = temporary_.path() / "away";
    if (*suffix == '\0') std::filesystem::rename(path, away);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    expectRefused(path + "' is not a regular file");
    std::filesystem::remove(path);
    ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
    expectRefused(path + "' is not a regular file");
    std::filesystem::remove(path);
    if (*suffix == '\0') std::filesystem::rename(away, path);
  }
  EXPECT_EQ(readSession(*open(folder_), "ada").text, "secret");
}

TEST_F(KeychainPlace, AnEmptyDatabaseIsAnEmptyKeychain) {
  save();
  std::filesystem::resize_file(database_, 0);
  EXPECT_EQ(readSession(*open(folder_), "ada").status, errSecItemNotFound);
  EXPECT_EQ(countSessions(*open(folder_)).first, errSecItemNotFound);
  EXPECT_EQ(addSession(*open(folder_), "ada", "new"), errSecSuccess);
  EXPECT_EQ(readSession(*open(folder_), "ada").text, "new");
}

TEST_F(KeychainPlace, AHugeFileIsToldAsDamagedWithoutBeingRead) {
  save();
  constexpr std::uintmax_t huge = std::uintmax_t{1} << 40;
  std::filesystem::resize_file(key_, huge);
  EXPECT_EQ(readSession(*open(folder_), "ada").status, errSecAuthFailed);
  std::filesystem::resize_file(key_, 32);
  EXPECT_EQ(readSession(*open(folder_), "ada").text, "secret");
  std::filesystem::resize_file(database_, 0);
  std::filesystem::resize_file(database_, huge);
  EXPECT_EQ(readSession(*open(folder_), "ada").status, errSecDecode);
  EXPECT_NE(problem_.find(database_.string()), std::string::npos) << problem_;
}

TEST_F(KeychainPlace, AHardLinkElsewhereIsNoObstacle) {
  save();
  std::filesystem::create_hard_link(database_, temporary_.path() / "backup.db");
  std::filesystem::create_hard_link(key_, temporary_.path() / "backup.key");
  EXPECT_EQ(readSession(*open(folder_), "ada").text, "secret");
  EXPECT_EQ(addSession(*open(folder_), "bob", "x"), errSecSuccess);
}

TEST_F(KeychainPlace, APathThatIsTooLongForTheDatabaseIsToldAsSuch) {
  auto folder = temporary_.path();
  while (folder.string().size() < 600) folder /= std::string(100, 'x');
  const auto keychain = open(folder);
  EXPECT_EQ(addSession(*keychain, "ada", "secret"), errSecNotAvailable);
  EXPECT_NE(problem_.find("too long"), std::string::npos) << problem_;
  EXPECT_FALSE(std::filesystem::exists(folder)) << "nothing is made that cannot be used";
}

TEST_F(KeychainPlace, AFolderBelowAFileIsAnErrorThatNamesIt) {
  const auto file = temporary_.path() / "file";
  std::ofstream(file) << "x";
  const auto keychain = open(file / "keychain");
  EXPECT_EQ(readSession(*keychain, "ada").status, errSecIO);
  EXPECT_EQ(addSession(*keychain, "ada", "secret"), errSecIO);
  EXPECT_NE(problem_.find((file / "keychain").string()), std::string::npos) << problem_;
}

TEST_F(KeychainPlace, RunningOutOfDescriptorsIsAnErrorAndPasses) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's own checks need descriptors";
#endif
  save();
  Worker worker({"--descriptors", "3", "problem", folder_.string(), "ada"});
  EXPECT_THAT(worker.finish(), testing::HasSubstr("Too many open files"));
  EXPECT_EQ(readSession(*open(folder_), "ada").text, "secret");
}

TEST_F(KeychainPlace, NothingOfASecretCanBeReadInItsFilesNorInItsProblems) {
  const auto keychain = open(folder_);
  ASSERT_EQ(addSession(*keychain, "ada", "a very secret refresh token"), errSecSuccess);
  for (const auto& file : std::filesystem::directory_iterator(folder_)) {
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_EQ(bytes.find("very secret"), std::string::npos) << file.path();
  }
  auto malformed = accountQuery("ada");
  malformed.emplace("kSecMadeUp very secret", "very secret");
  EXPECT_EQ(keychain->SecItemDelete(malformed), errSecParam);
  EXPECT_FALSE(problem_.empty());
  EXPECT_EQ(problem_.find("very secret"), std::string::npos) << problem_;
}

}  // namespace
}  // namespace corvane::test
