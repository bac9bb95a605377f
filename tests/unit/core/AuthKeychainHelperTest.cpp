#include "AuthKeychainHelper.hpp"

#include <Corvane/AnyError.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/ErrorMatchers.hpp"
#include "support/FakeKeychain.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

using Operation = FakeKeychain::Operation;

const KeychainAttributes bothAttributes{KeychainAttribute::useDataProtectionKeychain(),
                                        KeychainAttribute::keychainAccessGroup("group")};

class AuthKeychainHelperTest : public testing::Test {
 protected:
  std::vector<Operation> operations() const {
    std::vector<Operation> kinds;
    for (const auto& call : keychain->calls()) kinds.push_back(call.operation);
    return kinds;
  }
  KeychainDictionary lastQuery() const { return keychain->calls().back().query; }

  std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
  AuthKeychainHelper helper{"ada@example.com", bothAttributes, keychain};
  const KeychainDictionary base = helper.keychainQuery("service");
};

std::optional<KeychainStoreError> storeErrorOf(const std::optional<AnyError>& error) {
  return error ? error->as<KeychainStoreError>() : std::nullopt;
}

KeychainDictionary with(KeychainDictionary query, std::string_view key, KeychainValue value) {
  query.insert_or_assign(std::string(key), std::move(value));
  return query;
}

const auto noService = KeychainStoreError::noService();
const auto missing = KeychainStoreError::failedToDeletePasswordBecauseItemNotFound("service");
const auto unexpected = KeychainStoreError::unexpectedPasswordData("service");

}  // namespace

TEST_F(AuthKeychainHelperTest, BaseQueryHasThreeEntriesWithoutAttributesAndFiveWithBoth) {
  const AuthKeychainHelper plain("ada@example.com", {}, keychain);
  const KeychainDictionary three{{"kSecClass", "kSecClassGenericPassword"},
                                 {"kSecAttrAccount", "ada@example.com"},
                                 {"kSecAttrService", "service"}};
  EXPECT_EQ(plain.keychainQuery("service"), three);

  auto five = with(three, "kSecAttrAccessGroup", "group");
  five = with(five, "kSecUseDataProtectionKeychain", true);
  EXPECT_EQ(base, five);
}

TEST_F(AuthKeychainHelperTest, OfTwoAccessGroupsTheLaterOneCounts) {
  const AuthKeychainHelper grouped("ada@example.com",
                                   {KeychainAttribute::keychainAccessGroup("first"),
                                    KeychainAttribute::keychainAccessGroup("second")},
                                   keychain);
  const auto query = grouped.keychainQuery("service");
  EXPECT_EQ(query.size(), 4u) << "class, account, service and one group";
  EXPECT_EQ(*query.at("kSecAttrAccessGroup").text(), "second");
}

TEST_F(AuthKeychainHelperTest, QueriesDoNotMentionSynchronizability) {
  helper.setPassword("text", "service");
  helper.password("service");
  helper.removePassword("service");
  for (const auto& call : keychain->calls()) EXPECT_FALSE(call.query.contains(kSecAttrSynchronizable));
}

TEST_F(AuthKeychainHelperTest, MadeWithAttributesOnlyItsAccountIsOAuthAndItMatchesThatAccountOnly) {
  const AuthKeychainHelper unnamed(bothAttributes, keychain);
  EXPECT_EQ(unnamed.accountName(), "OAuth");
  EXPECT_EQ(unnamed.keychainAttributes(), bothAttributes);
  unnamed.setPassword("text", "service");
  EXPECT_EQ(*keychain->items().front().at("kSecAttrAccount").text(), "OAuth");
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.password("service"); })),
            KeychainStoreError::passwordNotFound("service"));
  EXPECT_EQ(unnamed.password("service"), "text");
}

TEST_F(AuthKeychainHelperTest, AnEmptyServiceFailsEveryReadDeleteAndWriteBeforeAnyKeychainCall) {
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.passwordData(""); })), noService);
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.password(""); })), noService);
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.removePassword(""); })), noService);
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.setPassword("text", ""); })), noService);
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.setPassword(dataFromText("x"), "", std::nullopt); })),
            noService);
  EXPECT_TRUE(keychain->calls().empty());
  EXPECT_EQ(*helper.keychainQuery("").at("kSecAttrService").text(), "");
}

TEST_F(AuthKeychainHelperTest, ReadAsksForTheDataOfOneItem) {
  helper.setPassword("text", "service");
  keychain->forgetCalls();
  EXPECT_EQ(textView(helper.passwordData("service")), "text");
  auto query = with(base, "kSecReturnData", true);
  query = with(query, "kSecMatchLimit", "kSecMatchLimitOne");
  ASSERT_EQ(operations(), std::vector{Operation::copyMatching});
  EXPECT_EQ(lastQuery(), query);
}

TEST_F(AuthKeychainHelperTest, ReadOfAMissingItemSaysPasswordNotFound) {
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.passwordData("service"); })),
            KeychainStoreError::passwordNotFound("service"));
}

TEST_F(AuthKeychainHelperTest, ReadThatFailsOtherwiseIsUnhandledWithTheStatus) {
  keychain->failNext(Operation::copyMatching, -25308);
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.passwordData("service"); })),
            KeychainStoreError::unhandled(-25308));
}

TEST_F(AuthKeychainHelperTest, ReadThatSucceedsWithoutDataIsUnexpected) {
  keychain->returnInstead(KeychainValue());
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.passwordData("service"); })), unexpected);
  keychain->returnInstead("a text");
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.passwordData("service"); })), unexpected);
}

TEST_F(AuthKeychainHelperTest, BytesThatAreNotUTF8AreUnexpectedAsATextButReadAsData) {
  helper.setPassword(dataFromText("\xFF\xFE"), "service", std::nullopt);
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.password("service"); })), unexpected);
  EXPECT_EQ(textView(helper.passwordData("service")), "\xFF\xFE");
}

TEST_F(AuthKeychainHelperTest, DeletesByTheBaseQuery) {
  helper.setPassword("text", "service");
  helper.removePassword("service");
  EXPECT_TRUE(keychain->items().empty());
  EXPECT_EQ(lastQuery(), base);
}

TEST_F(AuthKeychainHelperTest, DeletingAMissingItemFailsButWritingWhenThereIsNoneSucceeds) {
  EXPECT_EQ(storeErrorOf(errorOf([&] { helper.removePassword("service"); })), missing);
  helper.setPassword("text", "service");
  EXPECT_EQ(helper.password("service"), "text");
}

TEST_F(AuthKeychainHelperTest, DeleteThatFailsOtherwiseIsTheRawStatus) {
  keychain->failNext(Operation::remove, -25293);
  const auto error = errorOf([&] { helper.removePassword("service"); });
  EXPECT_THAT(*error, IsError("NSOSStatusErrorDomain", -25293, "Keychain delete failed"));
  EXPECT_EQ(error->nsError().userInfo().size(), 1u) << "the description and nothing else";
}

TEST_F(AuthKeychainHelperTest, WriteDeletesThenAdds) {
  helper.setPassword("old", "service");
  keychain->forgetCalls();
  helper.setPassword("new", "service");
  ASSERT_EQ(operations(), (std::vector{Operation::remove, Operation::add}));
  EXPECT_EQ(keychain->calls().front().query, base);
  EXPECT_EQ(lastQuery(), with(base, "kSecValueData", dataFromText("new")));
  EXPECT_EQ(helper.password("service"), "new");
  EXPECT_EQ(keychain->items().size(), 1u);
}

TEST_F(AuthKeychainHelperTest, WriteWhoseDeleteFailsAddsNothing) {
  keychain->failNext(Operation::remove, -25308);
  EXPECT_THAT(*errorOf([&] { helper.setPassword("text", "service"); }),
              IsError("NSOSStatusErrorDomain", -25308, "Keychain delete failed"));
  EXPECT_EQ(operations(), std::vector{Operation::remove});
}

TEST_F(AuthKeychainHelperTest, WriteWhoseAddFailsLeavesNoItemBehind) {
  helper.setPassword("old", "service");
  keychain->failNext(Operation::add, -25299);
  const auto error = errorOf([&] { helper.setPassword("new", "service"); });
  EXPECT_THAT(*error, IsError("NSOSStatusErrorDomain", -25299, "Keychain add failed"));
  EXPECT_EQ(error->nsError().userInfo().size(), 1u);
  EXPECT_TRUE(keychain->items().empty());
}

TEST_F(AuthKeychainHelperTest, WritingZeroBytesDeletesTheItemAndAddsNothing) {
  helper.setPassword("old", "service");
  keychain->forgetCalls();
  helper.setPassword(Data{}, "service", std::nullopt);
  EXPECT_EQ(operations(), std::vector{Operation::remove});
  EXPECT_TRUE(keychain->items().empty());
}

TEST_F(AuthKeychainHelperTest, WritingZeroBytesWhenThereIsNoItemSucceeds) {
  helper.setPassword("", "service");
  EXPECT_EQ(operations(), std::vector{Operation::remove});
}

TEST_F(AuthKeychainHelperTest, AccessibilityStandsInTheItemOnlyWhenTheWriterGivesOne) {
  helper.setPassword("text", "service");
  EXPECT_FALSE(lastQuery().contains(kSecAttrAccessible));
  helper.setPassword("text", "service", KeychainValue(kSecAttrAccessibleAfterFirstUnlock));
  EXPECT_EQ(*lastQuery().at("kSecAttrAccessible").text(), "kSecAttrAccessibleAfterFirstUnlock");
  helper.setPassword(dataFromText("text"), "service", KeychainValue(kSecAttrAccessibleWhenUnlocked));
  EXPECT_EQ(*lastQuery().at("kSecAttrAccessible").text(), "kSecAttrAccessibleWhenUnlocked");
  helper.setPassword("text", "service", std::nullopt);
  EXPECT_FALSE(lastQuery().contains(kSecAttrAccessible));
}

TEST_F(AuthKeychainHelperTest, SelectorFormsDoWhatTheThrowingFormsDo) {
  const KeychainHelper& selectors = helper;
  std::optional<NSError> error;
  EXPECT_EQ(selectors.keychainQuery("service"), base);
  EXPECT_TRUE(selectors.setPassword("one", "service", &error));
  EXPECT_EQ(selectors.password("service", &error), "one");
  EXPECT_TRUE(selectors.setPassword("two", "service", KeychainValue(kSecAttrAccessibleWhenUnlocked), &error));
  EXPECT_EQ(*lastQuery().at("kSecAttrAccessible").text(), "kSecAttrAccessibleWhenUnlocked");
  EXPECT_TRUE(selectors.setPassword(dataFromText("three"), "service",
                                    KeychainValue(kSecAttrAccessibleAfterFirstUnlock), &error));
  EXPECT_EQ(*lastQuery().at("kSecAttrAccessible").text(), "kSecAttrAccessibleAfterFirstUnlock");
  EXPECT_EQ(textView(*selectors.passwordData("service", &error)), "three");
  EXPECT_TRUE(selectors.removePassword("service", &error));
  EXPECT_FALSE(error);
}

TEST_F(AuthKeychainHelperTest, SelectorFormsLeaveTheirErrorInTheOutParameter) {
  const KeychainHelper& selectors = helper;
  const auto expect = [](const std::optional<NSError>& error, const KeychainStoreError& wanted) {
    ASSERT_TRUE(error);
    EXPECT_EQ(AnyError(*error).as<KeychainStoreError>(), wanted);
  };
  std::optional<NSError> error;
  EXPECT_EQ(selectors.passwordData("service", &error), std::nullopt);
  expect(error, KeychainStoreError::passwordNotFound("service"));
  EXPECT_EQ(selectors.password("", &error), std::nullopt);
  expect(error, noService);
  EXPECT_FALSE(selectors.removePassword("service", &error));
  expect(error, missing);
  EXPECT_FALSE(selectors.setPassword("text", "", &error));
  expect(error, noService);
  EXPECT_FALSE(selectors.setPassword("text", "", std::nullopt, &error));
  expect(error, noService);
  EXPECT_FALSE(selectors.setPassword(dataFromText("text"), "", std::nullopt, &error));
  expect(error, noService);

  keychain->failNext(Operation::add, -34018);
  EXPECT_FALSE(selectors.setPassword("text", "service", &error));
  EXPECT_THAT(AnyError(*error), IsError("NSOSStatusErrorDomain", -34018, "Keychain add failed"));
}

TEST_F(AuthKeychainHelperTest, SelectorFormsDropTheirErrorWhenNobodyWantsIt) {
  const KeychainHelper& selectors = helper;
  EXPECT_EQ(selectors.passwordData("service", nullptr), std::nullopt);
  EXPECT_EQ(selectors.password("service", nullptr), std::nullopt);
  EXPECT_FALSE(selectors.removePassword("service", nullptr));
  EXPECT_FALSE(selectors.setPassword("text", "", nullptr));
  EXPECT_FALSE(selectors.setPassword("text", "", std::nullopt, nullptr));
  EXPECT_FALSE(selectors.setPassword(dataFromText("text"), "", std::nullopt, nullptr));
}
