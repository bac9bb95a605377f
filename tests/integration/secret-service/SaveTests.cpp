#include "FaultyKeyring.hpp"

#include <future>

// A deletion and the addition right after it, which is how a session is saved. The addition relies on what the deletion
// saw, but on nothing older, and on nothing that may have changed.

namespace corvane::test {
namespace {

using ::testing::IsEmpty;

class Save : public FaultyKeyringTest {
 protected:
  /// A keychain with a connection that has just removed ada's item.
  SecretServiceKeychain& afterDeletion(const std::string& options = {},
                                       SecretServiceLimits limits = unhurried()) {
    start(options);
    auto& result = keychain(limits);
    EXPECT_EQ(add(result, "ada", "old"), errSecSuccess);
    EXPECT_EQ(remove(result, "ada"), errSecSuccess);
    forgetCalls();
    return result;
  }

  void expectLook() {
    for (const auto* call : {"ReadAlias", "SearchItems"}) EXPECT_GE(calls(call), 1) << call;
    EXPECT_EQ(calls("CreateAtAlias"), 0);
  }

  static std::string secretOf(Keychain& keychain, const std::string& name) {
    std::string secret = "none";
    read(keychain, name, &secret);
    return secret;
  }
};

TEST_F(Save, AnAdditionRightAfterTheDeletionOfTheSameItemDoesNotSearchAgain) {
  auto& same = afterDeletion();
  EXPECT_EQ(add(same, "ada", "new"), errSecSuccess);
  EXPECT_EQ(calls("CreateAtAlias"), 1);
  EXPECT_EQ(allCalls(), 1);
  EXPECT_EQ(secretOf(same, "ada"), "new");
  EXPECT_EQ(secretOf(keychain(), "ada"), "new");
  EXPECT_THAT(problems, IsEmpty());
}

TEST_F(Save, AnAccessibilityMakesNoOtherItemOfIt) {
  auto& same = afterDeletion();
  auto item = with(account("ada"), kSecValueData, dataFromText("new"));
  item = with(std::move(item), kSecAttrAccessible, kSecAttrAccessibleWhenUnlocked);
  EXPECT_EQ(same.SecItemAdd(item, nullptr), errSecSuccess);
  EXPECT_EQ(allCalls(), 1);
  EXPECT_EQ(secretOf(same, "ada"), "new");
}

TEST_F(Save, AfterADeletionOfSeveralThatWereOneTheAdditionDoesNotSearchEither) {
  auto& same = afterDeletion("--twins");
  EXPECT_EQ(add(same, "ada"), errSecSuccess);
  EXPECT_EQ(allCalls(), 1);
}

TEST_F(Save, AnAdditionAfterADeletionThatFoundNothingLooksAsEver) {
  auto& same = afterDeletion();
  ASSERT_EQ(remove(same, "ada"), errSecItemNotFound);
  forgetCalls();
  EXPECT_EQ(add(same, "ada"), errSecSuccess);
  expectLook();
}

TEST_F(Save, AnAdditionOfAnotherItemLooksAsEver) {
  EXPECT_EQ(add(afterDeletion(), "bob"), errSecSuccess);
  expectLook();
  auto inGroup = with(account("ada"), kSecAttrAccessGroup, "group");
  EXPECT_EQ(afterDeletion().SecItemAdd(with(inGroup, kSecValueData, dataFromText("new")), nullptr),
            errSecSuccess);
  expectLook();
}

TEST_F(Save, AnyCallInBetweenHasTheAdditionLookAsEver) {
  auto& reading = afterDeletion();
  EXPECT_EQ(read(reading, "ada"), errSecItemNotFound);
  EXPECT_EQ(add(reading, "ada"), errSecSuccess);
  expectLook();
  auto& removing = afterDeletion();
  EXPECT_EQ(remove(removing, "bob"), errSecItemNotFound);
  EXPECT_EQ(add(removing, "ada"), errSecSuccess);
  expectLook();
  auto& adding = afterDeletion();
  EXPECT_EQ(add(adding, "bob"), errSecSuccess);
  EXPECT_EQ(add(adding, "ada"), errSecSuccess);
  expectLook();
}

TEST_F(Save, ASecondAdditionLooksAndFindsTheFirst) {
  auto& same = afterDeletion();
  EXPECT_EQ(add(same, "ada", "new"), errSecSuccess);
  EXPECT_EQ(add(same, "ada", "newer"), errSecDuplicateItem);
  EXPECT_EQ(secretOf(same, "ada"), "new");
}

TEST_F(Save, AnAdditionOfThisProcessOverAnotherConnectionIsFound) {
  auto& same = afterDeletion();
  SecretServiceKeychain other;
  EXPECT_EQ(add(other, "ada", "theirs"), errSecSuccess);
  EXPECT_EQ(add(same, "ada", "new"), errSecDuplicateItem);
  EXPECT_EQ(secretOf(same, "ada"), "theirs");
}

TEST_F(Save, ADeletionWhileThisProcessAddsOverAnotherConnectionDoesNotCount) {
  start("--prompt-for CreateAtAlias --prompt wait");
  auto limits = unhurried();
  limits.prompt = impatientForPrompts().prompt;
  auto& same = keychain(limits);
  ASSERT_EQ(add(same, "ada"), errSecSuccess);
  SecretServiceKeychain other({}, unhurried());
  ASSERT_EQ(add(other, "bob"), errSecSuccess);
  ASSERT_EQ(remove(other, "bob"), errSecSuccess);
  auto adding = std::async(std::launch::async, [&other] { return add(other, "bob"); });
  waitFor("Prompt");  // which nobody answers
  EXPECT_EQ(remove(same, "ada"), errSecSuccess);
  forgetCalls();
  EXPECT_EQ(add(same, "ada"), errSecSuccess);
  expectLook();
  stop();
  EXPECT_EQ(adding.get(), errSecNotAvailable);
}

TEST_F(Save, WhatWasSeenTooLongAgoDoesNotCount) {
  EXPECT_EQ(add(afterDeletion({}, {.look = std::chrono::milliseconds(0)}), "ada"), errSecSuccess);
  expectLook();
}

TEST_F(Save, ADeletionThatNeededAPromptOrFoundTheItemGoneDoesNotCount) {
  EXPECT_EQ(add(afterDeletion("--prompt-for Delete"), "ada"), errSecSuccess);
  expectLook();
  start("--vanish-at Delete");
  auto& same = keychain(unhurried());
  ASSERT_EQ(add(same, "ada"), errSecSuccess);
  ASSERT_EQ(remove(same, "ada"), errSecItemNotFound);
  EXPECT_EQ(add(same, "ada"), errSecSuccess);
  expectLook();
}

TEST_F(Save, ADeletionThatFoundNoAliasDoesNotCount) {
  for (const auto* options : {"--no-alias", "--stray-alias"}) {
    EXPECT_EQ(add(afterDeletion(options), "ada"), errSecSuccess) << options;
    expectLook();
  }
}

TEST_F(Save, AKeyringLockedInBetweenIsUnlockedOnce) {
  auto& same = afterDeletion();
  lock();
  EXPECT_EQ(add(same, "ada", "new"), errSecSuccess);
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_EQ(calls("CreateItem"), 1);
  EXPECT_EQ(secretOf(same, "ada"), "new");
}

TEST_F(Save, AKeyringLockedInBetweenThatStaysLockedFailsTheAdditionAsLocked) {
  auto& dismissed = afterDeletion("--prompt dismiss");
  lock();
  EXPECT_EQ(add(dismissed, "ada"), errSecUserCanceled);
  EXPECT_EQ(calls("CreateItem"), 0);
  auto& shrugged = afterDeletion("--prompt shrug");
  lock();
  EXPECT_EQ(add(shrugged, "ada"), errSecInteractionNotAllowed);
  EXPECT_EQ(calls("CreateItem"), 0);
}

TEST_F(Save, AnAliasGoneInBetweenIsNotNeeded) {
  for (const auto* name : {"UnknownMethod", "UnknownObject", "UnknownInterface", "NoSuchObject"}) {
    auto& same = afterDeletion(
        std::string("--unknown-at CreateAtAlias --unknown-as org.freedesktop.DBus.Error.") + name);
    EXPECT_EQ(add(same, "ada", "new"), errSecSuccess) << name;
    EXPECT_EQ(calls("CreateItem"), 1) << name;
    EXPECT_EQ(secretOf(same, "ada"), "new") << name;
  }
}

TEST_F(Save, AnItemThatCameIntoAnotherKeyringIsTakenOutAgainAndTheDefaultOneLookedAt) {
  for (const auto* options : {"--moved-alias", "--moved-alias --prompt-for CreateAtAlias"}) {
    auto& same = afterDeletion(options);
    EXPECT_EQ(add(same, "ada", "new"), errSecSuccess) << options;
    for (const auto* call : {"CreateAtAlias", "Delete", "ReadAlias", "CreateItem"})
      EXPECT_EQ(calls(call), 1) << call << options;
    EXPECT_EQ(secretOf(same, "ada"), "new") << options;
  }
}

TEST_F(Save, AnItemThatCannotBeTakenOutOfAnotherKeyringFailsTheAddition) {
  EXPECT_EQ(add(afterDeletion("--moved-alias --die-at Delete --die-after 1"), "ada"), errSecNotAvailable);
  EXPECT_EQ(calls("CreateItem"), 0);
}

TEST_F(Save, AnItemIsMadeEvenIfTheServiceDoesNotSayWhere) {
  for (const auto* options : {"--nameless", "--nameless --prompt-for CreateAtAlias"}) {
    auto& same = afterDeletion(options);
    EXPECT_EQ(add(same, "ada", "new"), errSecSuccess) << options;
    EXPECT_EQ(calls("Delete"), 0) << options;
    EXPECT_EQ(secretOf(same, "ada"), "new") << options;
  }
}

TEST_F(Save, RefusedAccessIsToldAsSuch) {
  EXPECT_EQ(add(afterDeletion("--deny-at CreateAtAlias"), "ada"), errSecAuthFailed);
  EXPECT_EQ(calls("CreateItem"), 0);
}

TEST_F(Save, AServiceReplacedInBetweenIsLookedAt) {
  auto& same = afterDeletion();
  start();
  EXPECT_EQ(add(same, "ada"), errSecSuccess);
  expectLook();
  EXPECT_THAT(problems, IsEmpty());
}

TEST_F(Save, AServiceStoppedInBetweenIsNotAvailableAndLookedAtWhenItIsBack) {
  auto& same = afterDeletion();
  stop();
  EXPECT_EQ(add(same, "ada"), errSecNotAvailable);
  start();
  EXPECT_EQ(add(same, "ada"), errSecSuccess);
  expectLook();
}

TEST_F(Save, ASessionForgottenInBetweenIsMadeAnewAndTheKeyringLookedAt) {
  auto& same = afterDeletion("--lose-session-at CreateAtAlias");
  EXPECT_EQ(add(same, "ada", "new"), errSecSuccess);
  for (const auto* call : {"CreateAtAlias", "ReadAlias", "SearchItems", "CreateItem"})
    EXPECT_EQ(calls(call), call == std::string("ReadAlias") ? 2 : 1) << call;
  EXPECT_EQ(secretOf(same, "ada"), "new");
}

TEST_F(Save, AnAdditionThatTheServiceMayHaveDoneBeforeItDiedOrFrozeIsNotMadeAgain) {
  EXPECT_EQ(add(afterDeletion("--die-at CreateAtAlias"), "ada"), errSecNotAvailable);
  EXPECT_EQ(allCalls(), 1);
  auto limits = unhurried();
  limits.reply = std::chrono::seconds(2);
  auto& same = afterDeletion("--freeze-at CreateAtAlias", limits);
  EXPECT_EQ(add(same, "ada", "new"), errSecNotAvailable);
  EXPECT_EQ(allCalls(), 1);
  thaw();
  EXPECT_EQ(add(same, "ada", "newer"), errSecDuplicateItem);
  EXPECT_EQ(secretOf(same, "ada"), "new");
}

TEST_F(Save, AnAdditionThatNeedsAPromptIsPromptedForOnce) {
  auto& granted = afterDeletion("--prompt-for CreateAtAlias");
  EXPECT_EQ(add(granted, "ada", "new"), errSecSuccess);
  EXPECT_EQ(secretOf(granted, "ada"), "new");
  EXPECT_EQ(calls("Prompt"), 1);
  auto& dismissed = afterDeletion("--prompt-for CreateAtAlias --prompt dismiss");
  EXPECT_EQ(add(dismissed, "ada"), errSecUserCanceled);
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_EQ(calls("CreateItem"), 0);
}

}  // namespace
}  // namespace corvane::test
