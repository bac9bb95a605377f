#include "GoogleAccountsStore.hpp"

#include <Corvane/AnyError.hpp>
#include <Corvane/GoogleAccountsStoreError.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "GoogleKeychainStoreFactory.hpp"
#include "support/ErrorMatchers.hpp"
#include "support/FakeKeychain.hpp"
#include "support/FakeSession.hpp"

using namespace corvane;
using namespace corvane::test;
using testing::ElementsAre;

namespace {

using Operation = FakeKeychain::Operation;

const KeychainAttributes attributes{KeychainAttribute::useDataProtectionKeychain(),
                                    KeychainAttribute::keychainAccessGroup("group")};

class GoogleAccountsStoreTest : public testing::Test {
 protected:
  GoogleAccountsStore storeOf(const std::string& serviceName) const {
    return {serviceName, attributes, std::make_shared<GoogleKeychainStoreFactory>(keychain, archive),
            keychain};
  }

  void insert(std::optional<KeychainValue> account, bool synchronizable = false) {
    KeychainDictionary item{{"kSecClass", "kSecClassGenericPassword"},
                            {"kSecAttrService", "service"},
                            {"kSecAttrAccessGroup", "group"},
                            {"kSecValueData", dataFromText("session:x")}};
    if (account) item.emplace("kSecAttrAccount", *account);
    if (synchronizable) item.emplace("kSecAttrSynchronizable", true);
    keychain->insert(std::move(item));
  }

  std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
  std::shared_ptr<FakeSessionArchive> archive = std::make_shared<FakeSessionArchive>();
  GoogleAccountsStore store = storeOf("service");
  const FakeSession session{"ada@example.com"};
};

template <class Error>
std::optional<Error> typed(const std::optional<AnyError>& error) {
  return error ? error->as<Error>() : std::nullopt;
}

/// A keychain store that fails without saying why.
class MuteKeychainStore final : public KeychainStore {
 public:
  MuteKeychainStore() : KeychainStore("service", nullptr, nullptr) {}
  bool saveAuthSession(const AuthSession&, NSErrorPointer) const override { return false; }
  std::shared_ptr<AuthSession> retrieveAuthSession(NSErrorPointer) const override { return nullptr; }
  bool removeAuthSession(NSErrorPointer) const override { return false; }
};

class MuteKeychainStoreFactory final : public GoogleKeychainStoreFactoryType {
 public:
  std::shared_ptr<KeychainStore> makeKeychainStore(const std::string& itemName,
                                                   const std::string& accountName,
                                                   const KeychainAttributes&) override {
    made.push_back(itemName + "/" + accountName);
    return std::make_shared<MuteKeychainStore>();
  }
  std::vector<std::string> made;
};

}  // namespace

TEST_F(GoogleAccountsStoreTest, SavesOneItemPerAccountUnderTheServiceName) {
  store.saveAuthSession(session, "ada@example.com");
  const KeychainDictionary item{{"kSecClass", "kSecClassGenericPassword"},
                                {"kSecAttrAccount", "ada@example.com"},
                                {"kSecAttrService", "service"},
                                {"kSecAttrAccessGroup", "group"},
                                {"kSecValueData", dataFromText("session:ada@example.com")}};
  EXPECT_THAT(keychain->items(), ElementsAre(item));
}

TEST_F(GoogleAccountsStoreTest, GivesASavedSessionBackWithOneRead) {
  store.saveAuthSession(session, "ada@example.com");
  keychain->forgetCalls();
  EXPECT_EQ(store.retrieveAuthSession("ada@example.com")->userEmail(), "ada@example.com");
  ASSERT_EQ(keychain->calls().size(), 1u);
  EXPECT_EQ(keychain->calls().front().operation, Operation::copyMatching);
}

TEST_F(GoogleAccountsStoreTest, NeverInterpretsTheAccount) {
  store.saveAuthSession(session, " not an e-mail ");
  EXPECT_EQ(store.retrieveAuthSession(" not an e-mail ")->userEmail(), "ada@example.com");
}

TEST_F(GoogleAccountsStoreTest, RemovingAnAccountWithNoItemFailsAndSavingANewOneSucceeds) {
  EXPECT_EQ(typed<KeychainStoreError>(errorOf([&] { store.removeAuthSession("ada@example.com"); })),
            KeychainStoreError::failedToDeletePasswordBecauseItemNotFound("service"));
  store.saveAuthSession(session, "ada@example.com");
  store.removeAuthSession("ada@example.com");
  EXPECT_TRUE(keychain->items().empty());
}

TEST_F(GoogleAccountsStoreTest, AnEmptyServiceNameFailsEverySessionOperationButTheListingIsStillAsked) {
  auto nameless = storeOf("");
  const auto noService = KeychainStoreError::noService();
  EXPECT_EQ(typed<KeychainStoreError>(errorOf([&] { nameless.saveAuthSession(session, "a"); })), noService);
  EXPECT_EQ(typed<KeychainStoreError>(errorOf([&] { nameless.retrieveAuthSession("a"); })), noService);
  EXPECT_EQ(typed<KeychainStoreError>(errorOf([&] { nameless.removeAuthSession("a"); })), noService);
  EXPECT_TRUE(keychain->calls().empty());
  EXPECT_EQ(typed<GoogleAccountsStoreError>(errorOf([&] { nameless.storedAccounts(); })),
            GoogleAccountsStoreError::keysNotFound(""));
  EXPECT_EQ(keychain->calls().size(), 1u);
}

TEST_F(GoogleAccountsStoreTest, PassesTheKeychainsErrorsOnUnchanged) {
  EXPECT_EQ(typed<KeychainStoreError>(errorOf([&] { store.retrieveAuthSession("a"); })),
            KeychainStoreError::passwordNotFound("service"));
  keychain->failNext(Operation::add, -25308);
  EXPECT_THAT(*errorOf([&] { store.saveAuthSession(session, "a"); }),
              IsError("NSOSStatusErrorDomain", -25308, "Keychain add failed"));
  keychain->failNext(Operation::remove, -25293);
  EXPECT_THAT(*errorOf([&] { store.removeAuthSession("a"); }),
              IsError("NSOSStatusErrorDomain", -25293, "Keychain delete failed"));
}

TEST_F(GoogleAccountsStoreTest, PassesTheArchivesErrorsOnUnchanged) {
  archive->failing = true;
  EXPECT_THAT(*errorOf([&] { store.saveAuthSession(session, "a"); }),
              IsError("FakeSessionArchive", 1, "damaged archive"));
  insert(KeychainValue("a"));
  keychain->returnInstead(dataFromText("gibberish"));
  EXPECT_THAT(*errorOf([&] { store.retrieveAuthSession("a"); }),
              IsError("FakeSessionArchive", 1, "damaged archive"));
}

TEST_F(GoogleAccountsStoreTest, AFailureWithoutAnErrorBecomesTheGenericOne) {
  const auto mute = std::make_shared<MuteKeychainStoreFactory>();
  GoogleAccountsStore muted("service", attributes, mute, keychain);
  const auto isGeneric =
      IsError("Foundation._GenericObjCError", 0,
              "The operation couldn\u2019t be completed. (Foundation._GenericObjCError error 0.)");
  EXPECT_THAT(*errorOf([&] { muted.saveAuthSession(session, "a"); }), isGeneric);
  EXPECT_THAT(*errorOf([&] { muted.retrieveAuthSession("a"); }), isGeneric);
  EXPECT_THAT(*errorOf([&] { muted.removeAuthSession("a"); }), isGeneric);
}

TEST_F(GoogleAccountsStoreTest, MakesAFreshKeychainStoreForEachSessionOperation) {
  const auto mute = std::make_shared<MuteKeychainStoreFactory>();
  GoogleAccountsStore muted("service", attributes, mute, keychain);
  errorOf([&] { muted.saveAuthSession(session, "a"); });
  errorOf([&] { muted.retrieveAuthSession("a"); });
  errorOf([&] { muted.removeAuthSession("b"); });
  EXPECT_THAT(mute->made, ElementsAre("service/a", "service/a", "service/b"));
}

TEST_F(GoogleAccountsStoreTest, ListingAsksForTheAttributesOfAllItemsOfTheServiceOfEitherSynchronizability) {
  insert(KeychainValue("ada@example.com"));
  store.storedAccounts();
  const KeychainDictionary query{{"kSecClass", "kSecClassGenericPassword"},
                                 {"kSecAttrService", "service"},
                                 {"kSecAttrSynchronizable", "kSecAttrSynchronizableAny"},
                                 {"kSecAttrAccessGroup", "group"},
                                 {"kSecUseDataProtectionKeychain", true},
                                 {"kSecMatchLimit", "kSecMatchLimitAll"},
                                 {"kSecReturnAttributes", true}};
  EXPECT_EQ(keychain->calls().back().query, query);
}

TEST_F(GoogleAccountsStoreTest, ListingNothingThrowsKeysNotFoundWithTheServiceName) {
  const auto error = errorOf([&] { store.storedAccounts(); });
  EXPECT_EQ(typed<GoogleAccountsStoreError>(error), GoogleAccountsStoreError::keysNotFound("service"));
  const NSError bridged = error->nsError();
  EXPECT_EQ(bridged.domain(), "Corvane.GoogleAccountsStore.Error");
  EXPECT_EQ(bridged.code(), 1);
  EXPECT_TRUE(bridged.userInfo().empty());
}

TEST_F(GoogleAccountsStoreTest, ListingThatFailsOtherwiseIsUnhandledWithTheStatus) {
  keychain->failNext(Operation::copyMatching, -25308);
  const auto error = errorOf([&] { store.storedAccounts(); });
  EXPECT_EQ(typed<GoogleAccountsStoreError>(error), GoogleAccountsStoreError::unhandled(-25308));
  EXPECT_EQ(error->code(), 0);
  EXPECT_TRUE(error->nsError().userInfo().empty());
}

TEST_F(GoogleAccountsStoreTest, ListingThatIsNoListOfAttributesIsUnexpected) {
  for (const auto& result : {KeychainValue(), KeychainValue("text"), KeychainValue(KeychainDictionary{})}) {
    keychain->returnInstead(result);
    const auto error = errorOf([&] { store.storedAccounts(); });
    EXPECT_EQ(typed<GoogleAccountsStoreError>(error), GoogleAccountsStoreError::unexpectedKeys("service"));
    EXPECT_EQ(error->code(), 2);
  }
}

TEST_F(GoogleAccountsStoreTest, ListingLeavesOutItemsWithoutATextAccountAndKeepsTheKeychainsOrder) {
  insert(KeychainValue("zoe@example.com"));
  insert(std::nullopt);
  insert(KeychainValue(std::int64_t{7}));
  insert(KeychainValue(dataFromText("bytes")));
  insert(KeychainValue("ada@example.com"));
  EXPECT_THAT(store.storedAccounts(), ElementsAre("zoe@example.com", "ada@example.com"));
}

TEST_F(GoogleAccountsStoreTest, ListingOfItemsWithoutAnyTextAccountIsEmpty) {
  insert(std::nullopt);
  EXPECT_TRUE(store.storedAccounts().empty());
}

TEST_F(GoogleAccountsStoreTest, ListsBothItemsOfOneAccountWhenOneIsSynchronizable) {
  insert(KeychainValue("ada@example.com"));
  insert(KeychainValue("ada@example.com"), true);
  EXPECT_THAT(store.storedAccounts(), ElementsAre("ada@example.com", "ada@example.com"));
}

TEST(GoogleAccountsStoreError, IsEqualToTheSameCaseWithTheSamePayload) {
  using Error = GoogleAccountsStoreError;
  EXPECT_EQ(Error::unhandled(-1), Error::unhandled(-1));
  EXPECT_NE(Error::unhandled(-1), Error::unhandled(-2));
  EXPECT_NE(Error::keysNotFound("a"), Error::keysNotFound("b"));
  EXPECT_NE(Error::keysNotFound("a"), Error::unexpectedKeys("a"));
}
