#include "FaultyKeyring.hpp"

// Items that change while they are looked at.

namespace corvane::test {
namespace {

using Items = FaultyKeyringTest;

KeychainValue::List listed(Keychain& keychain) {
  KeychainValue result;
  const KeychainDictionary query{{std::string(kSecClass), kSecClassGenericPassword},
                                 {std::string(kSecReturnAttributes), true},
                                 {std::string(kSecMatchLimit), kSecMatchLimitAll}};
  keychain.SecItemCopyMatching(query, &result);
  return result.list() ? *result.list() : KeychainValue::List();
}

TEST_F(Items, OneThatVanishesMeanwhileIsMissing) {
  for (const auto* call : {"ItemProperties", "GetSecrets"}) {
    start(std::string("--vanish-at ") + call);
    ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
    EXPECT_EQ(read(keychain(), "ada"), errSecItemNotFound) << call;
  }
  start("--vanish-at Delete");
  ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(remove(keychain(), "ada"), errSecItemNotFound);
}

TEST_F(Items, OneThatTheServiceCannotRemoveIsNotTakenForMissing) {
  start("--unknown-at Delete");
  ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(remove(keychain(), "ada"), errSecNotAvailable);
  EXPECT_EQ(read(keychain(), "ada"), errSecSuccess);
}

TEST_F(Items, OneThatIsLockedMeanwhileIsLockedAndNotMissing) {
  start("--lock-at GetSecrets");
  ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(read(keychain(), "ada"), errSecInteractionNotAllowed);
  start("--lock-at CreateItem");
  EXPECT_EQ(add(keychain(), "ada"), errSecInteractionNotAllowed);
}

TEST_F(Items, ASecretInAFormNobodyAskedForIsNotHandedOut) {
  start("--garble");
  ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
  std::string secret = "untouched";
  EXPECT_EQ(read(keychain(), "ada", &secret), errSecDecode);
  EXPECT_EQ(secret, "untouched");
}

TEST_F(Items, OneThatShowsNothingOfItselfIsNotTakenForOursNorRemoved) {
  start("--bare");
  ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(read(keychain(), "ada"), errSecItemNotFound);
  EXPECT_EQ(remove(keychain(), "ada"), errSecItemNotFound);
  EXPECT_EQ(calls("Delete"), 0);
}

TEST_F(Items, OfTwoWithTheSameAttributesTheNewerCountsAndBothAreRemoved) {
  start("--twins");
  ASSERT_EQ(add(keychain(), "ada", "newer"), errSecSuccess);
  std::string secret;
  EXPECT_EQ(read(keychain(), "ada", &secret), errSecSuccess);
  EXPECT_EQ(secret, "newer");
  EXPECT_EQ(listed(keychain()).size(), 1u);
  EXPECT_EQ(add(keychain(), "ada"), errSecDuplicateItem);
  EXPECT_EQ(remove(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(calls("Delete"), 2);
  EXPECT_EQ(read(keychain(), "ada"), errSecItemNotFound);
}

TEST_F(Items, SecretsOfAnyBytesAndOfNoneSurviveAServiceWithoutEncryption) {
  start();
  const std::string everyByte = [] {
    std::string bytes;
    for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
    return bytes;
  }();
  std::string secret = "untouched";
  ASSERT_EQ(add(keychain(), "ada", everyByte), errSecSuccess);
  ASSERT_EQ(add(keychain(), "bob", ""), errSecSuccess);
  EXPECT_EQ(read(keychain(), "ada", &secret), errSecSuccess);
  EXPECT_EQ(secret, everyByte);
  EXPECT_EQ(read(keychain(), "bob", &secret), errSecSuccess);
  EXPECT_EQ(secret, "");
}

TEST_F(Items, NamesThatDBusCannotCarryOrThatLookLikeTheirStandInAreKept) {
  start();
  const std::vector<std::string> names{
      std::string("a\0b", 3), "\xff\xfe", "hex:6162", "hex:", "ab", "%61%62"};
  for (const auto& name : names) ASSERT_EQ(add(keychain(), name, "secret of " + name), errSecSuccess);
  std::vector<std::string> found;
  for (const auto& item : listed(keychain())) found.push_back(*item.at(std::string(kSecAttrAccount)).text());
  EXPECT_EQ(found, names);
  for (const auto& name : names) {
    std::string secret;
    EXPECT_EQ(read(keychain(), name, &secret), errSecSuccess);
    EXPECT_EQ(secret, "secret of " + name);
  }
}

}  // namespace
}  // namespace corvane::test
