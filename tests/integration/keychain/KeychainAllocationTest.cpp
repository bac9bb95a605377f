// Memory that runs out while the keychain file is used: each allocation fails in turn, ours and SQLite's,
// once alone and once with all after it. Each time the call ends with errSecAllocate, and the same keychain
// then works.
#include "Sessions.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "support/AllocationOperators.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace {

enum class Shortage { none, once, lasting };

thread_local Shortage shortage = Shortage::none;
thread_local int remaining = 0;
thread_local bool reached = false;

bool fails() {
  if (shortage == Shortage::none || remaining-- > 0) return false;
  if (shortage == Shortage::once && reached) return false;
  return reached = true;
}

}  // namespace

void* corvane::test::allocate(std::size_t size) noexcept {
  return fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void corvane::test::release(void* memory) noexcept {
  std::free(memory);
}

namespace corvane::test {
namespace {

sqlite3_mem_methods sqliteMemory;

/// SQLite's memory runs out like ours. Before SQLite is used.
void limitSQLite() {
  if (sqlite3_config(SQLITE_CONFIG_GETMALLOC, &sqliteMemory) != SQLITE_OK) std::abort();
  auto limited = sqliteMemory;
  limited.xMalloc = [](int size) { return fails() ? nullptr : sqliteMemory.xMalloc(size); };
  limited.xRealloc = [](void* memory, int size) {
    return fails() ? nullptr : sqliteMemory.xRealloc(memory, size);
  };
  if (sqlite3_config(SQLITE_CONFIG_MALLOC, &limited) != SQLITE_OK) std::abort();
}

class KeychainAllocation : public testing::TestWithParam<bool> {
 protected:
  static void SetUpTestSuite() {
    static const bool limited = (limitSQLite(), true);
    (void)limited;
  }

  /// Made once and copied, which takes less time.
  struct Original {
    TemporaryFolder temporary{TemporaryFolder::memory()};
    std::filesystem::path folder = temporary.path() / "keychain";

    Original() {
      EncryptedFileKeychain keychain(folder);
      EXPECT_EQ(addSession(keychain, "ada", sessionText("ada", 1)), errSecSuccess);
    }
  };

  /// A keychain with "ada" in it; opened already, or still to be opened by the next call.
  struct Case {
    TemporaryFolder temporary{TemporaryFolder::memory()};
    std::filesystem::path folder = temporary.path() / "keychain";
    std::string problem;
    EncryptedFileKeychain keychain{folder, [this](const std::string& sentence) { problem = sentence; }};

    explicit Case(bool opened) {
      static const Original original;
      std::filesystem::copy(original.folder, folder);
      EXPECT_EQ(::chmod(folder.c_str(), 0700), 0);
      if (opened) holdsAda(keychain);
    }
  };

  using Call = std::function<OSStatus(Keychain&)>;
  using Check = std::function<void(Keychain&)>;

  /// Fails every allocation of the call in turn. `unchanged` looks at the keychain after a failure,
  /// `done` after a success.
  void failEach(const Call& call, const Check& unchanged, const Check& done) {
    for (const auto kind : {Shortage::once, Shortage::lasting}) {
      int failures = 0;
      for (int successes = 0;; ++successes) {
        SCOPED_TRACE(successes);
        Case fresh(GetParam());
        remaining = successes;
        reached = false;
        shortage = kind;
        const auto status = call(fresh.keychain);
        shortage = Shortage::none;
        if (status != errSecSuccess) {
          EXPECT_EQ(status, errSecAllocate) << fresh.problem;
          unchanged(fresh.keychain);
          EXPECT_EQ(addSession(fresh.keychain, "carol", "x"), errSecSuccess) << fresh.problem;
          EXPECT_EQ(readSession(fresh.keychain, "carol").text, "x");
          ++failures;
        } else {
          done(fresh.keychain);
          EXPECT_EQ(fresh.problem, "");
        }
        if (!reached || HasFailure()) break;
      }
      EXPECT_GT(failures, 3);
    }
  }

  static void holdsAda(Keychain& keychain) {
    const auto ada = readSession(keychain, "ada");
    EXPECT_EQ(ada.status, errSecSuccess);
    EXPECT_EQ(ada.text, sessionText("ada", 1));
    EXPECT_EQ(readSession(keychain, "bob").status, errSecItemNotFound);
  }
};

TEST_P(KeychainAllocation, EndsASaveWithAStatus) {
  auto attributes = accountQuery("bob");
  attributes.emplace(kSecValueData, dataFromText("secret"));
  attributes.emplace(kSecReturnAttributes, true);
  failEach(
      [&](Keychain& keychain) {
        KeychainValue result;
        return keychain.SecItemAdd(attributes, &result);
      },
      holdsAda, [](Keychain& keychain) { EXPECT_EQ(readSession(keychain, "bob").text, "secret"); });
}

TEST_P(KeychainAllocation, EndsAReadWithAStatus) {
  auto query = accountQuery("ada");
  query.emplace(kSecReturnData, true);
  failEach(
      [&](Keychain& keychain) {
        KeychainValue result;
        return keychain.SecItemCopyMatching(query, &result);
      },
      holdsAda, holdsAda);
}

TEST_P(KeychainAllocation, EndsAListingWithAStatus) {
  auto query = passwordQuery();
  query.emplace(kSecAttrSynchronizable, kSecAttrSynchronizableAny);
  query.emplace(kSecReturnAttributes, true);
  query.emplace(kSecMatchLimit, kSecMatchLimitAll);
  failEach(
      [&](Keychain& keychain) {
        KeychainValue result;
        return keychain.SecItemCopyMatching(query, &result);
      },
      holdsAda, holdsAda);
}

TEST_P(KeychainAllocation, EndsARemovalWithAStatus) {
  const auto query = accountQuery("ada");
  failEach([&](Keychain& keychain) { return keychain.SecItemDelete(query); }, holdsAda,
           [](Keychain& keychain) { EXPECT_EQ(readSession(keychain, "ada").status, errSecItemNotFound); });
}

TEST_P(KeychainAllocation, EndsAFailureWithAStatus) {
  const auto query = accountQuery("ada");
  for (int successes = 0; successes == 0 || reached; ++successes) {
    Case fresh(GetParam());
    ASSERT_EQ(::chmod(fresh.folder.c_str(), 0755), 0);
    remaining = successes;
    reached = false;
    shortage = Shortage::lasting;
    const auto status = fresh.keychain.SecItemDelete(query);
    shortage = Shortage::none;
    EXPECT_TRUE(status == errSecAllocate || status == errSecNotAvailable) << status;
    ASSERT_EQ(::chmod(fresh.folder.c_str(), 0700), 0);
    holdsAda(fresh.keychain);
  }
}

INSTANTIATE_TEST_SUITE_P(Opened, KeychainAllocation, testing::Values(true));
INSTANTIATE_TEST_SUITE_P(Unopened, KeychainAllocation, testing::Values(false));

}  // namespace
}  // namespace corvane::test
