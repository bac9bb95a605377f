#include "GoogleAccountsStoreFactory.hpp"

#include <gtest/gtest.h>

#include <memory>

#include "support/ErrorMatchers.hpp"
#include "support/FakeKeychain.hpp"
#include "support/FakeSession.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

class GoogleAccountsStoreFactoryTest : public testing::Test {
 protected:
  GoogleAccountsStoreFactory factoryFor(const std::string& accessGroup) const {
    auto stores =
        std::make_shared<GoogleKeychainStoreFactory>(keychain, std::make_shared<FakeSessionArchive>());
    return {"service", accessGroup, std::move(stores), keychain};
  }

  static void touchEverything(GoogleAccountsStoreType& store) {
    store.saveAuthSession(FakeSession("ada@example.com"), "ada@example.com");
    store.retrieveAuthSession("ada@example.com");
    store.storedAccounts();
    store.removeAuthSession("ada@example.com");
  }

  std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
};

}  // namespace

TEST_F(GoogleAccountsStoreFactoryTest, EveryQueryOfAStoreCarriesServiceGroupAndDataProtection) {
  touchEverything(*factoryFor("group").makeStore());
  ASSERT_EQ(keychain->calls().size(), 5u);
  for (const auto& call : keychain->calls()) {
    EXPECT_EQ(*call.query.at("kSecAttrService").text(), "service");
    EXPECT_EQ(*call.query.at("kSecAttrAccessGroup").text(), "group");
    EXPECT_EQ(*call.query.at("kSecUseDataProtectionKeychain").boolean(), true);
  }
}

TEST_F(GoogleAccountsStoreFactoryTest, AnEmptyAccessGroupStillStandsInTheQueries) {
  touchEverything(*factoryFor("").makeStore());
  for (const auto& call : keychain->calls()) {
    ASSERT_TRUE(call.query.contains(kSecAttrAccessGroup));
    EXPECT_EQ(*call.query.at("kSecAttrAccessGroup").text(), "");
  }
}

TEST_F(GoogleAccountsStoreFactoryTest, TwoStoresAreDistinctButAddressTheSameItems) {
  auto factory = factoryFor("group");
  const auto one = factory.makeStore();
  const auto other = factory.makeStore();
  EXPECT_NE(one, other);
  one->saveAuthSession(FakeSession("ada@example.com"), "ada@example.com");
  EXPECT_EQ(other->retrieveAuthSession("ada@example.com")->userEmail(), "ada@example.com");
}

TEST_F(GoogleAccountsStoreFactoryTest, KeepsNoReferenceToTheStoresItMakes) {
  auto factory = factoryFor("group");
  const std::weak_ptr<GoogleAccountsStoreType> watch = factory.makeStore();
  EXPECT_TRUE(watch.expired());
}

TEST(GoogleKeychainStoreFactory, MakesAStoreOverAHelperOfTheAccount) {
  const KeychainAttributes attributes{KeychainAttribute::useDataProtectionKeychain()};
  GoogleKeychainStoreFactory factory(std::make_shared<FakeKeychain>(),
                                     std::make_shared<FakeSessionArchive>());
  const auto store = factory.makeKeychainStore("item", "ada@example.com", attributes);
  EXPECT_EQ(store->itemName(), "item");
  EXPECT_EQ(store->keychainHelper().accountName(), "ada@example.com");
  EXPECT_EQ(store->keychainHelper().keychainAttributes(), attributes);
}
