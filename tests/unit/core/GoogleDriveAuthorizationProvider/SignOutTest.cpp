#include <CorvanePlatform/KeychainStoreError.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Recorder.hpp"
#include "unit/core/SignInRig.hpp"

using namespace corvane;
using namespace corvane::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const GoogleDriveAccountModel ada("ada@example.com");

class SignOutTest : public testing::Test, protected SignInRig {
 protected:
  void signIn(const std::string& email) {
    const auto signedIn = factory.makeAuthorizationProvider(nullptr);
    const Recorder account(signedIn->signIn());
    fake.signInServices.made.back()->finish(std::make_shared<FakeSession>(email), std::nullopt);
  }
};

}  // namespace

TEST_F(SignOutTest, RunsNothingUntilSomebodySubscribesAndThenOnTheTaskPool) {
  signIn("ada@example.com");
  const auto publisher = provider->signOut(ada);
  fake.taskPool->runAll();
  EXPECT_EQ(fake.keychain->items().size(), 1u);
  const Recorder out(publisher);
  EXPECT_EQ(fake.keychain->items().size(), 1u);
  fake.taskPool->runAll();
  EXPECT_TRUE(fake.keychain->items().empty());
}

TEST_F(SignOutTest, OfAStoredAccountCompletesAndTheAccountLeavesTheList) {
  signIn("ada@example.com");
  signIn("bob@example.com");
  const Recorder out(provider->signOut(ada));
  fake.taskPool->runAll();
  EXPECT_THAT(out.events(), ElementsAre("value", "finished"));
  const Recorder accounts(factory.makeAccountProvider()->getAccounts());
  fake.taskPool->runAll();
  EXPECT_THAT(*accounts.value(), ElementsAre(GoogleDriveAccountModel("bob@example.com")));
}

TEST_F(SignOutTest, OfAnAccountWithoutASessionFailsWithTheStoresErrorUnchanged) {
  const Recorder out(provider->signOut(ada));
  fake.taskPool->runAll();
  EXPECT_THAT(out.events(), ElementsAre("failed"));
  EXPECT_EQ(out.error()->as<KeychainStoreError>(),
            KeychainStoreError::failedToDeletePasswordBecauseItemNotFound("service"));
}

TEST_F(SignOutTest, IsNeitherMeasuredNorLogged) {
  signIn("ada@example.com");
  const Recorder good(provider->signOut(ada));
  const Recorder bad(provider->signOut(GoogleDriveAccountModel("nobody@example.com")));
  fake.taskPool->runAll();
  EXPECT_TRUE(good.ended() && bad.ended());
  EXPECT_THAT(tracker->events, IsEmpty());
  EXPECT_TRUE(fake.log->lines().empty());
}

TEST_F(SignOutTest, CancelledAtOnceStillRemovesTheSessionSilently) {
  signIn("ada@example.com");
  Recorder out(provider->signOut(ada));
  out.cancel();
  fake.taskPool->runAll();
  EXPECT_TRUE(fake.keychain->items().empty());
  EXPECT_THAT(out.events(), IsEmpty());
}

TEST_F(SignOutTest, NeedsNoProviderOnceAskedFor) {
  signIn("ada@example.com");
  const auto publisher = provider->signOut(ada);
  const std::weak_ptr watch = provider;
  provider.reset();
  EXPECT_TRUE(watch.expired());
  const Recorder out(publisher);
  fake.taskPool->runAll();
  EXPECT_TRUE(out.value());
}

TEST_F(SignOutTest, EachSubscriptionRemovesOnce) {
  signIn("ada@example.com");
  const auto publisher = provider->signOut(ada);
  const Recorder first(publisher);
  const Recorder second(publisher);
  fake.taskPool->runAll();
  EXPECT_THAT(first.events(), ElementsAre("value", "finished"));
  EXPECT_THAT(second.events(), ElementsAre("failed")) << "there is nothing left to remove";
}
