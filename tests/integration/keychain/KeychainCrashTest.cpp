#include "Sessions.hpp"
#include "Worker.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

// Processes that save without end are killed at random moments. Each tells what it has finished, so that after the
// kill only two states are possible: the one after its last finished call, and the one after the call it was in.
// One keychain goes through all kills of a test, and lies in memory, where syncing costs nothing: what is tried here
// is the death of processes, not of disks.

namespace corvane::test {
namespace {

int rounds() {
  const char* text = std::getenv("CORVANE_KEYCHAIN_KILL_ROUNDS");
  return text ? std::atoi(text) : 200;
}

// Lets the other process run on for a moment that no acknowledgement marks.
void spin(std::chrono::microseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  while (std::chrono::steady_clock::now() < end) {
  }
}

/// Differs from run to run, unless CORVANE_KEYCHAIN_KILL_SEED holds the seed that a failed run told.
class Randomness {
 public:
  int upTo(int limit) { return std::uniform_int_distribution(0, limit)(engine_); }
  std::string seedText() const { return "CORVANE_KEYCHAIN_KILL_SEED=" + std::to_string(seed_); }

 private:
  static std::uint32_t seed() {
    const char* text = std::getenv("CORVANE_KEYCHAIN_KILL_SEED");
    return text ? static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10)) : std::random_device{}();
  }

  const std::uint32_t seed_ = seed();
  std::mt19937 engine_{seed_};
};

std::vector<std::string> saveLoop(const std::filesystem::path& folder, const std::string& account,
                                  const std::string& owner, int number) {
  return {"save-loop", folder.string(), account, owner, std::to_string(number)};
}

/// One account that a process saves alone, and the states it may be in.
struct SavedAccount {
  std::string name;
  int next = 1;
  ReadSession known{errSecItemNotFound, ""};

  ReadSession session(int number) const { return {errSecSuccess, sessionText(name, number)}; }

  void expectAfter(const std::string& progress, EncryptedFileKeychain& keychain) {
    const ReadSession none{errSecItemNotFound, ""};
    for (const char step : progress) {
      if (step == 'd') known = none;
      if (step == 'a') known = session(next++);
    }
    const auto found = readSession(keychain, name);
    // An addition may have been under way when there is none, and a removal when there is one.
    const auto other = known == none ? session(next) : none;
    EXPECT_TRUE(found == known || found == other) << name << ": status " << found.status << ", "
                                                  << found.text.substr(0, 20) << " after " << progress.size();
    if (found == session(next)) ++next;
    known = found;
  }
};

TEST(KeychainCrash, AKilledSaverLeavesTheOldItemNoneOrTheNewOne) {
  const TemporaryFolder temporary(TemporaryFolder::memory());
  const auto folder = temporary.path() / "keychain";
  Randomness random;
  SCOPED_TRACE(random.seedText());
  SavedAccount ada{"ada"};
  SavedAccount bob{"bob"};
  for (int round = 0; round < rounds() && !testing::Test::HasFailure(); ++round) {
    std::string adasProgress;
    std::string bobsProgress;
    {
      Worker first(saveLoop(folder, "ada", "ada", ada.next));
      Worker second(saveLoop(folder, "bob", "bob", bob.next));
      adasProgress = first.read(static_cast<std::size_t>(1 + random.upTo(10)));
      bobsProgress = second.read(1);
      spin(std::chrono::microseconds(random.upTo(1500)));
      first.kill();
      adasProgress += first.finish();
      second.kill();
      bobsProgress += second.finish();
    }
    EncryptedFileKeychain keychain(folder);
    ada.expectAfter(adasProgress, keychain);
    bob.expectAfter(bobsProgress, keychain);
  }
  EXPECT_GT(ada.next, 1);
}

TEST(KeychainCrash, TwoKilledSaversOfOneAccountLeaveAWholeItemOfEitherOrNone) {
  const TemporaryFolder temporary(TemporaryFolder::memory());
  const auto folder = temporary.path() / "keychain";
  Randomness random;
  SCOPED_TRACE(random.seedText());
  for (int round = 0; round < rounds() && !testing::Test::HasFailure(); ++round) {
    {
      Worker first(saveLoop(folder, "ada", "first", 1));
      Worker second(saveLoop(folder, "ada", "second", 1));
      first.read(static_cast<std::size_t>(1 + random.upTo(6)));
      second.read(static_cast<std::size_t>(1 + random.upTo(6)));
      spin(std::chrono::microseconds(random.upTo(1500)));
      first.kill();
      second.kill();
    }
    EncryptedFileKeychain keychain(folder);
    const auto found = readSession(keychain, "ada");
    EXPECT_TRUE(found.status == errSecItemNotFound ||
                (found.status == errSecSuccess && isWholeSession(found.text)))
        << found.status;
    EXPECT_LE(countSessions(keychain).second, 1U);
  }
}

TEST(KeychainCrash, AKillDuringTheVeryFirstSaveLeavesAKeychainThatWorks) {
  Randomness random;
  SCOPED_TRACE(random.seedText());
  // Each kill takes a keychain of its own, and the moments that matter are few.
  for (int round = 0; round < rounds() / 4 && !testing::Test::HasFailure(); ++round) {
    const TemporaryFolder temporary(TemporaryFolder::memory());
    const auto folder = temporary.path() / "a" / "keychain";
    {
      Worker saver(saveLoop(folder, "ada", "ada", 1));
      saver.read(1);
      spin(std::chrono::microseconds(random.upTo(6000)));
      saver.kill();
    }
    EncryptedFileKeychain keychain(folder);
    const auto found = readSession(keychain, "ada");
    EXPECT_TRUE(found.status == errSecItemNotFound ||
                (found.status == errSecSuccess && isWholeSession(found.text)))
        << found.status;
    EXPECT_EQ(addSession(keychain, "bob", "x"), errSecSuccess);
    EXPECT_EQ(readSession(keychain, "bob").text, "x");
  }
}

}  // namespace
}  // namespace corvane::test
