#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// What every keychain must do, whatever it is made of. A keychain's own tests include this header once and
// name the kinds to run it on:
//
//   INSTANTIATE_TEST_SUITE_P(Fake, KeychainContract, testing::Values(makeFake));

namespace corvane::test {

/// Makes an empty keychain; what it stands on goes when it goes.
using KeychainMaker = std::function<std::shared_ptr<Keychain>()>;

class KeychainContract : public testing::TestWithParam<KeychainMaker> {
 protected:
  using Entries = std::initializer_list<std::pair<std::string_view, KeychainValue>>;

  static KeychainDictionary with(KeychainDictionary dictionary, Entries entries) {
    for (const auto& [key, value] : entries) dictionary.insert_or_assign(std::string(key), value);
    return dictionary;
  }

  static KeychainDictionary passwords(Entries entries = {}) {
    return with(
        {{std::string(kSecClass), kSecClassGenericPassword}, {std::string(kSecAttrService), "service"}},
        entries);
  }

  static KeychainDictionary account(std::string_view name, Entries entries = {}) {
    return with(passwords({{kSecAttrAccount, name}}), entries);
  }

  OSStatus add(const KeychainDictionary& query, std::string_view secret) {
    return keychain_->SecItemAdd(with(query, {{kSecValueData, dataFromText(secret)}}), nullptr);
  }

  OSStatus remove(const KeychainDictionary& query) { return keychain_->SecItemDelete(query); }

  OSStatus copy(const KeychainDictionary& query, KeychainValue* result = nullptr) {
    return keychain_->SecItemCopyMatching(query, result);
  }

  /// The secret that a query for one item finds, or the status in words.
  std::string secretOf(const KeychainDictionary& query) {
    KeychainValue result;
    const auto status =
        copy(with(query, {{kSecReturnData, true}, {kSecMatchLimit, kSecMatchLimitOne}}), &result);
    if (status != errSecSuccess) return "status " + std::to_string(status);
    return result.data() ? std::string(textView(*result.data())) : "no data";
  }

  /// What a listing returns of every matching item under `key`; "-" stands for an item without it.
  std::vector<std::string> listed(const KeychainDictionary& query, std::string_view key = kSecAttrAccount) {
    KeychainValue result;
    const auto listing = with(query, {{kSecMatchLimit, kSecMatchLimitAll}, {kSecReturnAttributes, true}});
    if (const auto status = copy(listing, &result); status != errSecSuccess) {
      return {"status " + std::to_string(status)};
    }
    if (!result.list()) return {"no list"};
    std::vector<std::string> values;
    for (const auto& item : *result.list()) {
      const auto found = item.find(key);
      values.push_back(found != item.end() && found->second.text() ? *found->second.text() : "-");
    }
    return values;
  }

  static inline const std::string notFound = "status " + std::to_string(errSecItemNotFound);

  std::shared_ptr<Keychain> keychain_ = GetParam()();
};

TEST_P(KeychainContract, ReadsBackWhatWasAdded) {
  EXPECT_EQ(add(account("ada"), "secret"), errSecSuccess);
  EXPECT_EQ(secretOf(account("ada")), "secret");
}

TEST_P(KeychainContract, AnEmptyKeychainSaysThatNothingIsFound) {
  EXPECT_EQ(secretOf(account("ada")), notFound);
  EXPECT_EQ(listed(passwords()), std::vector{notFound});
  EXPECT_EQ(remove(account("ada")), errSecItemNotFound);
}

TEST_P(KeychainContract, KeepsEveryByteOfASecret) {
  std::string secret(70'000, '\0');
  for (std::size_t i = 0; i < secret.size(); ++i) secret[i] = static_cast<char>(i % 256);
  ASSERT_EQ(add(account("ada"), secret), errSecSuccess);
  EXPECT_EQ(secretOf(account("ada")), secret);
}

TEST_P(KeychainContract, KeepsASecretOfNoBytes) {
  ASSERT_EQ(add(account("ada"), ""), errSecSuccess);
  EXPECT_EQ(secretOf(account("ada")), "");
}

TEST_P(KeychainContract, TellsAccountsApartByTheirBytes) {
  const std::string withZero("a\0b", 3);
  ASSERT_EQ(add(account("a"), "1"), errSecSuccess);
  ASSERT_EQ(add(account(withZero), "2"), errSecSuccess);
  ASSERT_EQ(add(account("A"), "3"), errSecSuccess);
  ASSERT_EQ(add(account(""), "4"), errSecSuccess);
  ASSERT_EQ(add(account("ä☁️' OR 1=1 --"), "5"), errSecSuccess);
  EXPECT_EQ(secretOf(account("a")), "1");
  EXPECT_EQ(secretOf(account(withZero)), "2");
  EXPECT_EQ(secretOf(account("A")), "3");
  EXPECT_EQ(secretOf(account("")), "4");
  EXPECT_EQ(secretOf(account("ä☁️' OR 1=1 --")), "5");
  EXPECT_EQ(listed(passwords()), (std::vector<std::string>{"a", withZero, "A", "", "ä☁️' OR 1=1 --"}));
}

TEST_P(KeychainContract, AddingAnItemTwiceIsADuplicateAndKeepsTheFirst) {
  ASSERT_EQ(add(account("ada"), "first"), errSecSuccess);
  EXPECT_EQ(add(account("ada"), "second"), errSecDuplicateItem);
  EXPECT_EQ(add(account("ada", {{kSecAttrAccessible, kSecAttrAccessibleWhenUnlocked}}), "third"),
            errSecDuplicateItem);
  EXPECT_EQ(secretOf(account("ada")), "first");
}

TEST_P(KeychainContract, EveryIdentifyingAttributeMakesAnItemOfItsOwn) {
  const std::array items = {
      account("ada"),
      account("bob"),
      account("ada", {{kSecAttrService, "other"}}),
      account("ada", {{kSecAttrAccessGroup, ""}}),
      account("ada", {{kSecAttrAccessGroup, "group"}}),
      account("ada", {{kSecAttrSynchronizable, true}}),
      passwords(),
  };
  for (const auto& item : items) EXPECT_EQ(add(item, "x"), errSecSuccess);
  for (const auto& item : items) EXPECT_EQ(add(item, "x"), errSecDuplicateItem);
}

TEST_P(KeychainContract, NotSynchronizableIsTheSameAsSilentAboutIt) {
  ASSERT_EQ(add(account("ada", {{kSecAttrSynchronizable, false}}), "local"), errSecSuccess);
  EXPECT_EQ(add(account("ada"), "again"), errSecDuplicateItem);
  EXPECT_EQ(secretOf(account("ada")), "local");
  EXPECT_EQ(secretOf(account("ada", {{kSecAttrSynchronizable, false}})), "local");
}

TEST_P(KeychainContract, AQuerySilentOnSynchronizableSkipsSynchronizableItems) {
  ASSERT_EQ(add(account("ada", {{kSecAttrSynchronizable, true}}), "shared"), errSecSuccess);
  EXPECT_EQ(secretOf(account("ada")), notFound);
  EXPECT_EQ(remove(account("ada")), errSecItemNotFound);
  EXPECT_EQ(secretOf(account("ada", {{kSecAttrSynchronizable, true}})), "shared");
}

TEST_P(KeychainContract, AnySynchronizableMatchesEitherKind) {
  ASSERT_EQ(add(account("ada"), "local"), errSecSuccess);
  ASSERT_EQ(add(account("ada", {{kSecAttrSynchronizable, true}}), "shared"), errSecSuccess);
  EXPECT_EQ(listed(passwords({{kSecAttrSynchronizable, kSecAttrSynchronizableAny}})),
            (std::vector<std::string>{"ada", "ada"}));
  EXPECT_EQ(listed(passwords()), std::vector<std::string>{"ada"});
}

TEST_P(KeychainContract, AQuerySilentOnAnAttributeMatchesAnyValueOfIt) {
  ASSERT_EQ(add(account("ada", {{kSecAttrAccessGroup, "group"}}), "x"), errSecSuccess);
  EXPECT_EQ(secretOf(account("ada")), "x");
  EXPECT_EQ(secretOf(passwords()), "x");
  EXPECT_EQ(secretOf({{std::string(kSecClass), kSecClassGenericPassword}}), "x");
  EXPECT_EQ(secretOf(account("ada", {{kSecAttrAccessGroup, ""}})), notFound);
}

TEST_P(KeychainContract, AnEmptyAccessGroupIsAValueOfItsOwn) {
  ASSERT_EQ(add(account("ada"), "none"), errSecSuccess);
  EXPECT_EQ(secretOf(account("ada", {{kSecAttrAccessGroup, ""}})), notFound);
  ASSERT_EQ(add(account("ada", {{kSecAttrAccessGroup, ""}}), "empty"), errSecSuccess);
  EXPECT_EQ(secretOf(account("ada", {{kSecAttrAccessGroup, ""}})), "empty");
}

TEST_P(KeychainContract, TheDataProtectionFlagDoesNotTellItemsApart) {
  ASSERT_EQ(add(account("ada", {{kSecUseDataProtectionKeychain, kCFBooleanTrue}}), "x"), errSecSuccess);
  EXPECT_EQ(secretOf(account("ada")), "x");
  EXPECT_EQ(add(account("ada"), "y"), errSecDuplicateItem);
}

TEST_P(KeychainContract, ListsItemsInTheOrderInWhichTheyWereAdded) {
  for (const auto* name : {"carol", "ada", "bob"}) ASSERT_EQ(add(account(name), "x"), errSecSuccess);
  EXPECT_EQ(listed(passwords()), (std::vector<std::string>{"carol", "ada", "bob"}));
}

TEST_P(KeychainContract, ListsItemsWithoutAnAccountToo) {
  ASSERT_EQ(add(passwords(), "x"), errSecSuccess);
  ASSERT_EQ(add(account("ada"), "x"), errSecSuccess);
  EXPECT_EQ(listed(passwords()), (std::vector<std::string>{"-", "ada"}));
}

TEST_P(KeychainContract, ListsOnlyWhatMatches) {
  ASSERT_EQ(add(account("ada"), "x"), errSecSuccess);
  ASSERT_EQ(add(account("bob", {{kSecAttrService, "other"}}), "x"), errSecSuccess);
  EXPECT_EQ(listed(passwords()), std::vector<std::string>{"ada"});
  EXPECT_EQ(listed(passwords({{kSecAttrService, "third"}})), std::vector{notFound});
}

TEST_P(KeychainContract, AttributesComeBackAsTheyWereAddedAndWithoutTheSecret) {
  const auto item =
      account("ada", {{kSecAttrAccessGroup, ""}, {kSecAttrAccessible, kSecAttrAccessibleWhenUnlocked}});
  ASSERT_EQ(add(item, "x"), errSecSuccess);
  KeychainValue result;
  ASSERT_EQ(copy(account("ada", {{kSecReturnAttributes, true}}), &result), errSecSuccess);
  ASSERT_TRUE(result.dictionary());
  EXPECT_EQ(*result.dictionary(), item);
}

TEST_P(KeychainContract, AttributesOfASynchronizableItemSaySo) {
  const auto item = account("ada", {{kSecAttrSynchronizable, true}});
  ASSERT_EQ(add(item, "x"), errSecSuccess);
  KeychainValue result;
  ASSERT_EQ(copy(with(item, {{kSecReturnAttributes, true}}), &result), errSecSuccess);
  ASSERT_TRUE(result.dictionary());
  EXPECT_EQ(*result.dictionary(), item);
}

TEST_P(KeychainContract, BothReturnFlagsGiveADictionaryThatHoldsTheSecret) {
  ASSERT_EQ(add(account("ada"), "secret"), errSecSuccess);
  KeychainValue result;
  ASSERT_EQ(copy(account("ada", {{kSecReturnAttributes, true}, {kSecReturnData, true}}), &result),
            errSecSuccess);
  ASSERT_TRUE(result.dictionary());
  EXPECT_EQ(*result.dictionary(), account("ada", {{kSecValueData, dataFromText("secret")}}));
}

TEST_P(KeychainContract, WithoutALimitOneItemIsReturned) {
  ASSERT_EQ(add(account("ada"), "first"), errSecSuccess);
  ASSERT_EQ(add(account("bob"), "second"), errSecSuccess);
  KeychainValue result;
  ASSERT_EQ(copy(passwords({{kSecReturnData, true}}), &result), errSecSuccess);
  ASSERT_TRUE(result.data());
  EXPECT_EQ(textView(*result.data()), "first");
}

TEST_P(KeychainContract, WithoutAReturnFlagOnlyTheStatusAnswers) {
  ASSERT_EQ(add(account("ada"), "x"), errSecSuccess);
  KeychainValue result("untouched");
  EXPECT_EQ(copy(account("ada"), &result), errSecSuccess);
  EXPECT_EQ(copy(account("bob", {{kSecReturnData, true}}), &result), errSecItemNotFound);
  EXPECT_EQ(copy(account("ada", {{kSecReturnData, false}, {kSecMatchLimit, kSecMatchLimitAll}}), &result),
            errSecSuccess);
  EXPECT_EQ(result, KeychainValue("untouched"));
}

TEST_P(KeychainContract, AResultThatNobodyWantsIsNoError) {
  ASSERT_EQ(add(account("ada"), "x"), errSecSuccess);
  EXPECT_EQ(copy(account("ada", {{kSecReturnData, true}})), errSecSuccess);
  EXPECT_EQ(copy(passwords({{kSecReturnAttributes, true}, {kSecMatchLimit, kSecMatchLimitAll}})),
            errSecSuccess);
}

TEST_P(KeychainContract, AnAdditionCanReturnWhatItAdded) {
  KeychainValue result;
  const auto item = account("ada", {{kSecValueData, dataFromText("secret")}});
  ASSERT_EQ(
      keychain_->SecItemAdd(with(item, {{kSecReturnData, true}, {kSecReturnAttributes, true}}), &result),
      errSecSuccess);
  ASSERT_TRUE(result.dictionary());
  EXPECT_EQ(*result.dictionary(), item);
}

TEST_P(KeychainContract, DeletesEverythingThatMatchesAndNothingElse) {
  for (const auto* name : {"ada", "bob"}) ASSERT_EQ(add(account(name), "x"), errSecSuccess);
  ASSERT_EQ(add(account("ada", {{kSecAttrService, "other"}}), "stays"), errSecSuccess);
  EXPECT_EQ(remove(passwords()), errSecSuccess);
  EXPECT_EQ(listed(passwords()), std::vector{notFound});
  EXPECT_EQ(secretOf(account("ada", {{kSecAttrService, "other"}})), "stays");
}

TEST_P(KeychainContract, ADeletedItemCanBeAddedAgain) {
  ASSERT_EQ(add(account("ada"), "old"), errSecSuccess);
  ASSERT_EQ(remove(account("ada")), errSecSuccess);
  EXPECT_EQ(remove(account("ada")), errSecItemNotFound);
  EXPECT_EQ(add(account("ada"), "new"), errSecSuccess);
  EXPECT_EQ(secretOf(account("ada")), "new");
}

TEST_P(KeychainContract, AccessibilityIsMatchedWhenAskedFor) {
  ASSERT_EQ(add(account("ada", {{kSecAttrAccessible, kSecAttrAccessibleWhenUnlocked}}), "x"), errSecSuccess);
  EXPECT_EQ(secretOf(account("ada", {{kSecAttrAccessible, kSecAttrAccessibleWhenUnlocked}})), "x");
  EXPECT_EQ(secretOf(account("ada", {{kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock}})), notFound);
}

TEST_P(KeychainContract, MalformedQueriesAreRefusedByEveryOperation) {
  const std::array malformed = {
      KeychainDictionary{{std::string(kSecAttrService), "service"}},
      account("ada", {{kSecClass, "kSecClassKey"}}),
      account("ada", {{"kSecUnheardOf", true}}),
      account("ada", {{kSecAttrAccount, std::int64_t{7}}}),
      account("ada", {{kSecAttrService, dataFromText("service")}}),
      account("ada", {{kSecAttrAccessGroup, KeychainValue()}}),
      account("ada", {{kSecAttrAccessible, true}}),
      account("ada", {{kSecAttrSynchronizable, "maybe"}}),
      account("ada", {{kSecUseDataProtectionKeychain, "yes"}}),
  };
  for (const auto& query : malformed) {
    EXPECT_EQ(add(query, "x"), errSecParam);
    EXPECT_EQ(copy(query), errSecParam);
    EXPECT_EQ(remove(query), errSecParam);
  }
  EXPECT_EQ(listed({{std::string(kSecClass), kSecClassGenericPassword}}), std::vector{notFound});
}

TEST_P(KeychainContract, EachOperationRefusesTheKeysOfTheOthers) {
  ASSERT_EQ(add(account("ada"), "x"), errSecSuccess);
  EXPECT_EQ(copy(account("ada", {{kSecValueData, dataFromText("x")}})), errSecParam);
  EXPECT_EQ(copy(account("ada", {{kSecReturnData, "yes"}})), errSecParam);
  EXPECT_EQ(copy(account("ada", {{kSecMatchLimit, "kSecMatchLimitTwo"}})), errSecParam);
  EXPECT_EQ(copy(account("ada", {{kSecReturnData, true}, {kSecMatchLimit, kSecMatchLimitAll}})), errSecParam);
  EXPECT_EQ(keychain_->SecItemAdd(account("bob"), nullptr), errSecParam);
  EXPECT_EQ(keychain_->SecItemAdd(account("bob", {{kSecValueData, "text"}}), nullptr), errSecParam);
  EXPECT_EQ(add(account("bob", {{kSecMatchLimit, kSecMatchLimitOne}}), "x"), errSecParam);
  EXPECT_EQ(add(account("bob", {{kSecAttrSynchronizable, kSecAttrSynchronizableAny}}), "x"), errSecParam);
  EXPECT_EQ(remove(account("ada", {{kSecMatchLimit, kSecMatchLimitAll}})), errSecParam);
  EXPECT_EQ(remove(account("ada", {{kSecReturnData, true}})), errSecParam);
  EXPECT_EQ(remove(account("ada", {{kSecValueData, dataFromText("x")}})), errSecParam);
  EXPECT_EQ(listed(passwords()), std::vector<std::string>{"ada"});
}

TEST_P(KeychainContract, OfManyThreadsThatAddOneItemExactlyOneSucceeds) {
  std::atomic<int> added = 0;
  std::atomic<int> duplicates = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([&] {
        const auto status = add(account("ada"), "x");
        if (status == errSecSuccess) ++added;
        if (status == errSecDuplicateItem) ++duplicates;
      });
    }
  }
  EXPECT_EQ(added, 1);
  EXPECT_EQ(duplicates, 7);
}

TEST_P(KeychainContract, ThreadsThatSaveReadAndListAtOnceSeeOnlyWholeItems) {
  const std::string secret(2'000, 's');
  std::atomic<int> surprises = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&, name = std::string(i % 2 == 0 ? "ada" : "bob")] {
        for (int round = 0; round < 15; ++round) {
          const auto removed = remove(account(name));
          if (removed != errSecSuccess && removed != errSecItemNotFound) ++surprises;
          const auto addition = add(account(name), secret);
          if (addition != errSecSuccess && addition != errSecDuplicateItem) ++surprises;
          if (const auto read = secretOf(account(name)); read != secret && read != notFound) ++surprises;
          if (const auto names = listed(passwords()); names.size() > 2) ++surprises;
        }
      });
    }
  }
  EXPECT_EQ(surprises, 0);
  EXPECT_EQ(secretOf(account("ada")), secret);
  EXPECT_EQ(secretOf(account("bob")), secret);
}

}  // namespace corvane::test
