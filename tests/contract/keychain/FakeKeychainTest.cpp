#include "support/FakeKeychain.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

// What the fake can do beyond a keychain's contract.

namespace corvane::test {
namespace {

using Operation = FakeKeychain::Operation;

const KeychainDictionary item = {{std::string(kSecClass), kSecClassGenericPassword},
                                 {std::string(kSecAttrAccount), "ada"},
                                 {std::string(kSecValueData), Data(3)}};
const KeychainDictionary query = {{std::string(kSecClass), kSecClassGenericPassword}};

TEST(FakeKeychain, FailsInTheOrderAskedForThenWorksAgain) {
  FakeKeychain keychain;
  keychain.failNext(Operation::add, errSecIO, 2);
  keychain.failNext(Operation::add, errSecAuthFailed);
  EXPECT_EQ(keychain.SecItemAdd(item, nullptr), errSecIO);
  EXPECT_EQ(keychain.SecItemDelete(query), errSecItemNotFound);
  EXPECT_EQ(keychain.SecItemAdd(item, nullptr), errSecIO);
  EXPECT_EQ(keychain.SecItemAdd(item, nullptr), errSecAuthFailed);
  EXPECT_TRUE(keychain.items().empty());
  EXPECT_EQ(keychain.SecItemAdd(item, nullptr), errSecSuccess);
}

TEST(FakeKeychain, GivesAResultThatItWasToldToGiveOnce) {
  FakeKeychain keychain;
  keychain.returnInstead("not a list");
  KeychainValue result;
  EXPECT_EQ(keychain.SecItemCopyMatching(query, &result), errSecSuccess);
  EXPECT_EQ(result, KeychainValue("not a list"));
  EXPECT_EQ(keychain.SecItemCopyMatching(query, &result), errSecItemNotFound);
}

TEST(FakeKeychain, WritesDownEveryCallEvenOneThatFails) {
  FakeKeychain keychain;
  keychain.failNext(Operation::remove, errSecIO);
  keychain.SecItemDelete(query);
  keychain.SecItemAdd(item, nullptr);
  keychain.SecItemCopyMatching(query, nullptr);
  const auto calls = keychain.calls();
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[0].operation, Operation::remove);
  EXPECT_EQ(calls[1].operation, Operation::add);
  EXPECT_EQ(calls[1].query, item);
  EXPECT_EQ(calls[2].operation, Operation::copyMatching);
  keychain.forgetCalls();
  EXPECT_TRUE(keychain.calls().empty());
}

TEST(FakeKeychain, HoldsCallsUntilReleased) {
  FakeKeychain keychain;
  keychain.block();
  std::atomic<int> finished = 0;
  {
    std::jthread first([&] {
      keychain.SecItemAdd(item, nullptr);
      ++finished;
    });
    std::jthread second([&] {
      keychain.SecItemDelete(query);
      ++finished;
    });
    keychain.waitUntilBlocked(2);
    EXPECT_EQ(finished, 0);
    EXPECT_TRUE(keychain.items().empty());
    keychain.release();
  }
  EXPECT_EQ(finished, 2);
}

TEST(FakeKeychain, TakesItemsThatNoCallerCouldAdd) {
  FakeKeychain keychain;
  auto odd = item;
  odd.insert_or_assign(std::string(kSecAttrAccount), std::int64_t{7});
  keychain.insert(odd);
  auto listing = query;
  listing.emplace(kSecReturnAttributes, true);
  listing.emplace(kSecMatchLimit, kSecMatchLimitAll);
  KeychainValue result;
  ASSERT_EQ(keychain.SecItemCopyMatching(listing, &result), errSecSuccess);
  ASSERT_TRUE(result.list());
  EXPECT_EQ(result.list()->front().at(std::string(kSecAttrAccount)), KeychainValue(std::int64_t{7}));
}

}  // namespace
}  // namespace corvane::test
