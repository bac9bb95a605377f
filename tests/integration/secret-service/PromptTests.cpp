#include "FaultyKeyring.hpp"

#include <future>
#include <stop_token>
#include <thread>

// A locked keyring, and the user who is asked to unlock it.

namespace corvane::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class Prompts : public FaultyKeyringTest {
 protected:
  /// A keyring that holds ada's item and is locked.
  void startLocked(const std::string& options) {
    start(options);
    ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
    lock();
    forgetCalls();
  }
};

TEST_F(Prompts, OnceUnlockedTheCallGoesOn) {
  startLocked("--prompt grant");
  std::string secret;
  EXPECT_EQ(read(keychain(), "ada", &secret), errSecSuccess);
  EXPECT_EQ(secret, "secret");
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_EQ(read(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_THAT(problems, IsEmpty());
}

TEST_F(Prompts, LockedItemsThatTellNothingOfThemselvesAreFound) {
  for (const auto* options : {"--silent", "--twins --partial"}) {
    startLocked(options);
    auto& same = keychain();
    EXPECT_EQ(read(same, "ada"), errSecSuccess) << options;
    EXPECT_EQ(calls("Prompt"), 1) << options;
    lock();
    EXPECT_EQ(remove(same, "ada"), errSecSuccess) << options;
    EXPECT_EQ(calls("Prompt"), 2) << options;
    EXPECT_EQ(read(same, "ada"), errSecItemNotFound) << options;
  }
}

TEST_F(Prompts, DismissedIsToldFromLockedAndFromMissing) {
  startLocked("--prompt dismiss");
  EXPECT_EQ(read(keychain(), "ada"), errSecUserCanceled);
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_THAT(problems, ElementsAre(HasSubstr("dismissed")));
}

TEST_F(Prompts, ALockedKeyringThatShowsNothingIsStillNotAnEmptyOne) {
  start("--locked --prompt dismiss");
  EXPECT_EQ(read(keychain(), "nobody"), errSecUserCanceled);
}

TEST_F(Prompts, OneThatNobodyAnswersIsTakenBackAfterTheLimit) {
  startLocked("--prompt wait");
  EXPECT_EQ(read(keychain(impatientForPrompts()), "ada"), errSecInteractionNotAllowed);
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_EQ(calls("Dismiss"), 1);
  EXPECT_THAT(problems, ElementsAre(HasSubstr("not answered in time")));
}

TEST_F(Prompts, OneThatIsShownIsTakenBackWhenStopIsRequested) {
  startLocked("--prompt wait");
  std::stop_source asking;
  SecretServiceKeychain shared({}, {}, std::chrono::steady_clock::now, asking.get_token());
  auto status = std::async(std::launch::async, [&] { return read(shared, "ada"); });
  waitFor("Prompt");
  asking.request_stop();
  EXPECT_EQ(status.get(), errSecUserCanceled);
  EXPECT_EQ(calls("Dismiss"), 1);
}

TEST_F(Prompts, NoneIsShownOnceStopIsRequested) {
  startLocked("--prompt wait");
  std::stop_source asking;
  asking.request_stop();
  SecretServiceKeychain stopped({}, {}, std::chrono::steady_clock::now, asking.get_token());
  EXPECT_EQ(read(stopped, "ada"), errSecUserCanceled);
  EXPECT_EQ(calls("Prompt"), 0);
}

TEST_F(Prompts, OneThatUnlocksNothingLeavesTheKeyringLocked) {
  startLocked("--prompt shrug");
  EXPECT_EQ(read(keychain(), "ada"), errSecInteractionNotAllowed);
  EXPECT_THAT(problems, ElementsAre(HasSubstr("password may have been wrong")));
}

TEST_F(Prompts, OneThatDiesWithItsServiceIsNotWaitedFor) {
  startLocked("--prompt die");
  EXPECT_EQ(read(keychain(), "ada"), errSecNotAvailable);
}

TEST_F(Prompts, AServiceThatFreezesInsteadOfShowingOneIsGivenUpAsFrozen) {
  startLocked("--prompt wait");
  freeze();
  EXPECT_EQ(read(keychain(impatientForReplies()), "ada"), errSecNotAvailable);
}

TEST_F(Prompts, OneThatAFrozenServiceMayYetShowIsCalledOff) {
  startLocked("--prompt wait --freeze-at Prompt");
  EXPECT_EQ(read(keychain(impatientForReplies()), "ada"), errSecNotAvailable);
  EXPECT_EQ(calls("Dismiss"), 0);
  thaw();
  waitFor("Dismiss");
  EXPECT_EQ(calls("Dismiss"), 1);
}

TEST_F(Prompts, ADismissedOneRemovesNothing) {
  startLocked("--prompt dismiss");
  EXPECT_EQ(remove(keychain(), "ada"), errSecUserCanceled);
  EXPECT_EQ(add(keychain(), "ada"), errSecUserCanceled);
  EXPECT_EQ(calls("Delete"), 0);
  EXPECT_EQ(calls("CreateItem"), 0);
}

TEST_F(Prompts, CreatingAndDeletingMayNeedOneToo) {
  start("--prompt-for CreateItem,Delete");
  EXPECT_EQ(add(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(read(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(remove(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(read(keychain(), "ada"), errSecItemNotFound);
  EXPECT_EQ(calls("Prompt"), 2);
}

TEST_F(Prompts, ADismissedOneForCreatingOrDeletingIsTold) {
  start("--prompt-for CreateItem --prompt dismiss");
  EXPECT_EQ(add(keychain(), "ada"), errSecUserCanceled);
  EXPECT_EQ(read(keychain(), "ada"), errSecItemNotFound);
  start("--prompt-for Delete --prompt dismiss");
  ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(remove(keychain(), "ada"), errSecUserCanceled);
  EXPECT_EQ(read(keychain(), "ada"), errSecSuccess);
}

// As KeePassXC asks its user before a program sees an item.
TEST_F(Prompts, LockedItemInAnOpenKeyringIsUnlockedAndRead) {
  start("--ask-items");
  ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
  std::string secret;
  EXPECT_EQ(read(keychain(), "ada", &secret), errSecSuccess);
  EXPECT_EQ(secret, "secret");
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_EQ(read(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_THAT(problems, IsEmpty());
}

TEST_F(Prompts, LockedItemInAnOpenKeyringIsUnlockedAndRemoved) {
  start("--ask-items");
  ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(remove(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_EQ(read(keychain(), "ada"), errSecItemNotFound);
}

TEST_F(Prompts, LockedItemIsNeitherReadNorRemovedAgainstItsUsersWill) {
  start("--ask-items --prompt dismiss");
  ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(read(keychain(), "ada"), errSecUserCanceled);
  EXPECT_EQ(remove(keychain(), "ada"), errSecUserCanceled);
  EXPECT_EQ(calls("Prompt"), 2);
}

TEST_F(Prompts, CallsThatWaitedMeanwhileShareTheAnswerAndBringUpNoSecondOne) {
  startLocked("--prompt wait");
  auto& shared = keychain({.prompt = std::chrono::seconds(2)});
  std::vector<OSStatus> answers(4);
  {
    std::vector<std::jthread> threads;
    threads.emplace_back([&] { answers[0] = read(shared, "ada"); });
    waitFor("Prompt");
    for (std::size_t i = 1; i < answers.size(); ++i)
      threads.emplace_back([&, i] { answers[i] = read(shared, "ada"); });
  }
  EXPECT_THAT(answers, ::testing::Each(errSecInteractionNotAllowed));
  EXPECT_EQ(calls("Prompt"), 1);
  EXPECT_EQ(problems.size(), answers.size());
  EXPECT_EQ(read(keychain(impatientForPrompts()), "ada"), errSecInteractionNotAllowed);
  EXPECT_EQ(calls("Prompt"), 2);  // a new action of the user's
}

}  // namespace
}  // namespace corvane::test
