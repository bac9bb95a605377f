#include "FaultyKeyring.hpp"

// A session is saved by a deletion and an addition. Between the two anything may happen to the keyring.

namespace corvane::test {
namespace {

using ::testing::IsEmpty;

class Save : public FaultyKeyringTest {
 protected:
  /// A keychain with a connection that has just removed ada's item.
  SecretServiceKeychain& afterDeletion(const std::string& options = {}, SecretServiceLimits limits = {}) {
    start(options);
    auto& result = keychain(limits);
    EXPECT_EQ(add(result, "ada", "old"), errSecSuccess);
    EXPECT_EQ(remove(result, "ada"), errSecSuccess);
    forgetCalls();
    return result;
  }

  static std::string secretOf(Keychain& keychain, const std::string& name) {
    std::string secret = "none";
    read(keychain, name, &secret);
    return secret;
  }
};

TEST_F(Save, TheNewSecretIsReadByThisAndOtherKeychains) {
  auto& same = afterDeletion();
  EXPECT_EQ(add(same, "ada", "new"), errSecSuccess);
  EXPECT_EQ(secretOf(same, "ada"), "new");
  EXPECT_EQ(secretOf(keychain(), "ada"), "new");
  EXPECT_THAT(problems, IsEmpty());
}

TEST_F(Save, AccessibilityMakesNoOtherItemOfIt) {
  auto& same = afterDeletion();
  auto item = with(account("ada"), kSecValueData, dataFromText("new"));
  item = with(std::move(item), kSecAttrAccessible, kSecAttrAccessibleWhenUnlocked);
  EXPECT_EQ(same.SecItemAdd(item, nullptr), errSecSuccess);
  EXPECT_EQ(secretOf(same, "ada"), "new");
  EXPECT_EQ(add(same, "ada", "newer"), errSecDuplicateItem);
}

TEST_F(Save, SecondAdditionFindsTheFirst) {
  auto& same = afterDeletion();
  EXPECT_EQ(add(same, "ada", "new"), errSecSuccess);
  EXPECT_EQ(add(same, "ada", "newer"), errSecDuplicateItem);
  EXPECT_EQ(secretOf(same, "ada"), "new");
}

TEST_F(Save, AdditionOverAnotherConnectionIsFound) {
  auto& same = afterDeletion();
  SecretServiceKeychain other;
  EXPECT_EQ(add(other, "ada", "theirs"), errSecSuccess);
  EXPECT_EQ(add(same, "ada", "new"), errSecDuplicateItem);
  EXPECT_EQ(secretOf(same, "ada"), "theirs");
}

TEST_F(Save, KeyringLockedInBetweenIsUnlockedOnce) {
  auto& same = afterDeletion();
  lock();
  EXPECT_EQ(add(same, "ada", "new"), errSecSuccess);
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_EQ(calls("CreateItem"), 1);
  EXPECT_EQ(secretOf(same, "ada"), "new");
}

TEST_F(Save, KeyringThatStaysLockedFailsTheAdditionAsLocked) {
  auto& dismissed = afterDeletion("--prompt dismiss");
  lock();
  EXPECT_EQ(add(dismissed, "ada"), errSecUserCanceled);
  EXPECT_EQ(calls("CreateItem"), 0);
  auto& shrugged = afterDeletion("--prompt shrug");
  lock();
  EXPECT_EQ(add(shrugged, "ada"), errSecInteractionNotAllowed);
  EXPECT_EQ(calls("CreateItem"), 0);
}

TEST_F(Save, ItemIsMadeEvenIfTheServiceDoesNotSayWhere) {
  for (const auto* options : {"--nameless", "--nameless --prompt-for CreateItem"}) {
    auto& same = afterDeletion(options);
    EXPECT_EQ(add(same, "ada", "new"), errSecSuccess) << options;
    EXPECT_EQ(calls("Delete"), 0) << options;
    EXPECT_EQ(secretOf(same, "ada"), "new") << options;
  }
}

TEST_F(Save, ServiceReplacedInBetweenIsUsed) {
  auto& same = afterDeletion();
  start();
  EXPECT_EQ(add(same, "ada"), errSecSuccess);
  EXPECT_THAT(problems, IsEmpty());
}

TEST_F(Save, ServiceStoppedInBetweenIsUsedWhenItIsBack) {
  auto& same = afterDeletion();
  stop();
  EXPECT_EQ(add(same, "ada"), errSecNotAvailable);
  start();
  EXPECT_EQ(add(same, "ada"), errSecSuccess);
}

TEST_F(Save, AdditionThatTheServiceMayHaveDoneIsNotRepeated) {
  EXPECT_EQ(add(afterDeletion("--die-at CreateItem --die-after 1"), "ada"), errSecNotAvailable);
  EXPECT_EQ(calls("CreateItem"), 1);
}

TEST_F(Save, AdditionThatNeedsAPromptIsPromptedForOnce) {
  start("--prompt-for CreateItem --prompt dismiss");
  EXPECT_EQ(add(keychain(), "ada"), errSecUserCanceled);
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_EQ(calls("CreateItem"), 1);
  auto& granted = afterDeletion("--prompt-for CreateItem");
  EXPECT_EQ(add(granted, "ada", "new"), errSecSuccess);
  EXPECT_EQ(secretOf(granted, "ada"), "new");
  EXPECT_EQ(calls("Prompt"), 1);
}

}  // namespace
}  // namespace corvane::test
