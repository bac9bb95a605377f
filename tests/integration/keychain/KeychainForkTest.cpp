#include "RawDatabase.hpp"
#include "Sessions.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

// A process that forks and goes on without exec, as daemon(3) does.

namespace corvane::test {
namespace {

/// Runs `child` in a forked process; what it returns, or the signal that ended it.
std::string inChild(const std::function<std::string()>& child) {
  int ends[2];
  if (::pipe(ends) != 0) return "no pipe";
  const auto process = ::fork();
  if (process == 0) {
    ::alarm(20);  // a child that waits for a lost lock is to end
    const auto told = child();
    const auto written = ::write(ends[1], told.data(), told.size());
    ::_exit(written == static_cast<ssize_t>(told.size()) ? 0 : 1);
  }
  ::close(ends[1]);
  std::string told;
  char next = 0;
  for (ssize_t count = 1; count > 0;) {
    count = ::read(ends[0], &next, 1);
    if (count > 0) told += next;
  }
  ::close(ends[0]);
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status)) : told;
}

class KeychainFork : public testing::Test {
 protected:
  std::unique_ptr<EncryptedFileKeychain> open() {
    return std::make_unique<EncryptedFileKeychain>(
        folder_, [this](const std::string& problem) { problem_ = problem; });
  }

  TemporaryFolder temporary_{TemporaryFolder::memory()};
  std::filesystem::path folder_ = temporary_.path() / "keychain";
  std::string problem_;
};

const auto refused = std::to_string(errSecNotAvailable);

TEST_F(KeychainFork, RefusesInTheChildWhatTheParentHasUsed) {
  const auto keychain = open();
  ASSERT_EQ(addSession(*keychain, "ada", "secret"), errSecSuccess);
  EXPECT_EQ(inChild([&] { return std::to_string(readSession(*keychain, "ada").status); }), refused);
  EXPECT_EQ(inChild([&] { return std::to_string(addSession(*keychain, "bob", "x")); }), refused);
  EXPECT_EQ(inChild([&] { return std::to_string(removeSession(*keychain, "ada")); }), refused);
  const auto told = inChild([&] {
    countSessions(*keychain);
    return problem_;
  });
  EXPECT_NE(told.find("before this process was forked"), std::string::npos) << told;
  EXPECT_EQ(readSession(*keychain, "ada").text, "secret");
}

TEST_F(KeychainFork, TheChildsEndDoesNotDisturbTheParent) {
  auto keychain = open();
  ASSERT_EQ(addSession(*keychain, "ada", "secret"), errSecSuccess);
  EXPECT_EQ(inChild([&] {
              keychain.reset();
              return std::string("closed");
            }),
            "closed");
  EXPECT_EQ(addSession(*keychain, "bob", "x"), errSecSuccess);
  EXPECT_EQ(readSession(*open(), "bob").text, "x");
}

TEST_F(KeychainFork, AChildMayUseAKeychainOfItsOwn) {
  const auto keychain = open();
  ASSERT_EQ(addSession(*keychain, "ada", "secret"), errSecSuccess);
  EXPECT_EQ(inChild([&] {
              const auto own = open();
              return readSession(*own, "ada").text + std::to_string(addSession(*own, "bob", "x"));
            }),
            "secret0");
  EXPECT_EQ(readSession(*keychain, "bob").text, "x");
}

TEST_F(KeychainFork, AChildMayUseAKeychainThatWasNotUsedBefore) {
  const auto keychain = open();
  EXPECT_EQ(inChild([&] { return std::to_string(addSession(*keychain, "ada", "secret")); }), "0");
  EXPECT_EQ(readSession(*keychain, "ada").text, "secret");
}

TEST_F(KeychainFork, RefusesInTheChildWhileAThreadOfTheParentUsesIt) {
  const auto keychain = open();
  ASSERT_EQ(addSession(*keychain, "ada", "secret"), errSecSuccess);
  RawDatabase writer(folder_);
  writer.execute("BEGIN IMMEDIATE");
  std::atomic<bool> started = false;
  std::jthread waiting([&] {
    started = true;
    EXPECT_EQ(addSession(*keychain, "bob", "x"), errSecSuccess);
  });
  while (!started) std::this_thread::yield();
  EXPECT_EQ(inChild([&] { return std::to_string(readSession(*keychain, "ada").status); }), refused);
  writer.execute("ROLLBACK");
}

}  // namespace
}  // namespace corvane::test
