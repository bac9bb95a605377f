#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "GoogleDriveAuthorizationProvider.hpp"
#include "support/CountedError.hpp"
#include "support/ErrorMatchers.hpp"
#include "support/Recorder.hpp"
#include "unit/core/SignInRig.hpp"

using namespace corvane;
using namespace corvane::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Case = GoogleDriveAuthorizationProviderError::Case;

constexpr auto missingCredentials =
    "failed: Google Drive authorization failed: Missing or invalid credentials.";

NSError serviceError(std::int64_t code) {
  return NSError("TessoraService", code, {{"NSLocalizedDescription", "It broke."}});
}

class SignInTest : public testing::Test, protected SignInRig {};
using SignInDeathTest = SignInTest;

}  // namespace

TEST_F(SignInTest, PresentsNothingUntilSomebodySubscribesButCountsAsStarted) {
  const auto publisher = provider->signIn();
  EXPECT_THAT(tracker->events, ElementsAre("started"));
  EXPECT_EQ(windowRequests, 0);
  EXPECT_THAT(fake.signInServices.made, IsEmpty());
}

TEST_F(SignInTest, PresentsOverTheHostsWindowWithTheHostsClientAndTheSuccessPage) {
  const Recorder account(provider->signIn());
  EXPECT_EQ(windowRequests, 1);
  EXPECT_EQ(service().presentedOver, WindowHandle::x11(77));
  EXPECT_EQ(service().credentials.clientID(), "id");
  EXPECT_EQ(service().credentials.clientSecret().reveal(), "secret");
  EXPECT_EQ(service().successURL.absoluteString(), "https://drive.google.com/");
}

TEST_F(SignInTest, PublishesTheAccountAfterItsSessionIsInTheStore) {
  std::size_t storedWhenTold = 0;
  const auto subscription = provider->signIn().sink([](const auto&) {},
                                                    [&](const GoogleDriveAccountModel& account) {
                                                      EXPECT_EQ(account.userEmail(), "ada@example.com");
                                                      storedWhenTold = fake.keychain->items().size();
                                                    });
  succeed();
  EXPECT_EQ(storedWhenTold, 1u);

  const Recorder accounts(factory.makeAccountProvider()->getAccounts());
  fake.taskPool->runAll();
  EXPECT_EQ(*accounts.value(), std::vector{GoogleDriveAccountModel("ada@example.com")});
}

TEST_F(SignInTest, SendsOneAccountThenFinishes) {
  const Recorder account(provider->signIn());
  succeed("Ada@Example.com");
  EXPECT_THAT(account.events(), ElementsAre("value", "finished"));
  EXPECT_EQ(account.value()->userEmail(), "Ada@Example.com");
  EXPECT_THAT(tracker->events, ElementsAre("started", "succeeded"));
  EXPECT_TRUE(fake.log->lines().empty());
}

TEST_F(SignInTest, MeasuresTheFinishBeforeTheSubscriberSeesIt) {
  const Recorder account(provider->signIn());
  std::vector<std::string> seenAtMeasuring;
  tracker->onFinish = [&] { seenAtMeasuring = account.events(); };
  succeed();
  EXPECT_THAT(seenAtMeasuring, ElementsAre("value"));

  const Recorder failing(provider->signIn());
  tracker->onFinish = [&] { seenAtMeasuring = failing.events(); };
  service(1).finish(nullptr, std::nullopt);
  EXPECT_THAT(seenAtMeasuring, IsEmpty());
  EXPECT_THAT(failing.events(), ElementsAre("failed"));
}

TEST_F(SignInTest, UndecodableCredentialsFailEverySubscriptionAtOnceWithoutAskingForTheWindow) {
  SignInRig rig(R"({"client_id": "id", "client_secret": "secret"})");
  const auto publisher = rig.provider->signIn();
  const Recorder first(publisher);
  const Recorder second(publisher);
  EXPECT_EQ(first.error()->kind(), Case::missingCredentials);
  EXPECT_EQ(second.error()->kind(), Case::missingCredentials);
  EXPECT_EQ(rig.windowRequests, 0);
  EXPECT_THAT(rig.fake.signInServices.made, IsEmpty());
  EXPECT_THAT(rig.tracker->events, ElementsAre("started", missingCredentials, missingCredentials));
  EXPECT_TRUE(rig.fake.log->lines().empty());
}

TEST_F(SignInTest, EmptyCredentialsProceed) {
  SignInRig rig(R"({"client_id": "", "clientSecret": ""})");
  const Recorder account(rig.provider->signIn());
  EXPECT_EQ(rig.service().credentials.clientID(), "");
  EXPECT_FALSE(account.ended());
}

TEST_F(SignInTest, WithoutAWindowFailsAndMakesNoSignInService) {
  window.reset();
  const Recorder account(provider->signIn());
  EXPECT_EQ(account.error()->kind(), Case::presentingWindowUnavailable);
  EXPECT_THAT(fake.signInServices.made, IsEmpty());
  EXPECT_THAT(tracker->events,
              ElementsAre("started",
                          "failed: Google Drive authorization failed: No window available to present the "
                          "authentication session."));
  EXPECT_TRUE(fake.log->lines().empty());
}

TEST_F(SignInTest, FromAProviderThatIsGoneFailsUnmeasured) {
  const auto publisher = provider->signIn();
  provider.reset();
  const Recorder account(publisher);
  EXPECT_EQ(account.error()->kind(), Case::missingCredentials);
  EXPECT_THAT(tracker->events, ElementsAre("started"));
  EXPECT_EQ(windowRequests, 0);
}

TEST_F(SignInTest, ThePublisherDoesNotKeepTheProvider) {
  const auto publisher = provider->signIn();
  const std::weak_ptr watch = provider;
  provider.reset();
  EXPECT_TRUE(watch.expired());
}

TEST_F(SignInTest, GoesOnAndSavesItsSessionWhenTheProviderGoesUnmeasured) {
  const Recorder account(provider->signIn());
  provider.reset();
  succeed();
  EXPECT_THAT(account.events(), ElementsAre("value", "finished"));
  EXPECT_EQ(fake.keychain->items().size(), 1u);
  EXPECT_THAT(tracker->events, ElementsAre("started"));
}

TEST_F(SignInTest, AFailedSaveLogsTheCauseAndHidesIt) {
  fake.keychain->failNext(FakeKeychain::Operation::add, -25308);
  const Recorder account(provider->signIn());
  succeed();
  EXPECT_EQ(account.error()->kind(), Case::tokenSaveFailed);
  EXPECT_THAT(account.events(), ElementsAre("failed"));
  EXPECT_THAT(fake.log->messages(),
              ElementsAre("error: Google Drive token save failed [NSOSStatusErrorDomain "
                          "-25308]: Keychain add failed"));
  EXPECT_THAT(tracker->events,
              ElementsAre("started",
                          "failed: Google Drive authorization failed: Unable to save authentication token."));
}

TEST_F(SignInTest, AnyOtherErrorFailsWithItAndLogsOneLine) {
  const Recorder account(provider->signIn());
  fail(serviceError(-7));
  EXPECT_EQ(account.error()->kind(), Case::signInFailed);
  EXPECT_THAT(*account.error()->underlying(), IsError("TessoraService", -7, "It broke."));
  EXPECT_EQ(account.error()->errorDescription(), "Google Drive sign-in failed: It broke.");
  ASSERT_EQ(fake.log->lines().size(), 1u);
  const auto line = fake.log->lines().front();
  EXPECT_EQ(line.level, "error");
  EXPECT_EQ(line.category, "GoogleDriveAuthorization");
  EXPECT_EQ(line.message, "Google Drive sign-in failed [TessoraService -7]: It broke.");
  EXPECT_EQ(line.context, 0);
  EXPECT_TRUE(line.asynchronous);
  EXPECT_EQ(line.file, "Corvane/GoogleDriveAuthorizationProvider");
}

TEST_F(SignInTest, RecognisedErrorsAreNotLogged) {
  const NSError closed("com.apple.AuthenticationServices.WebAuthenticationSession", 1);
  const UserInfo denial{{"error", "access_denied"}};
  const std::vector<std::pair<NSError, Case>> recognised{
      {serviceError(-2), Case::missingRequiredScopes},
      {NSError("org.openid.appauth.oauth_authorization", -1,
               {{"OIDOAuthErrorResponseErrorKey", denial}}),
       Case::accessDenied},
      {NSError("org.openid.appauth.general", -3, {{"NSUnderlyingError", AnyError(closed)}}),
       Case::userCancelled},
  };
  for (const auto& [error, kind] : recognised) {
    SignInRig rig;
    const Recorder account(rig.provider->signIn());
    rig.fail(error);
    EXPECT_EQ(account.error()->kind(), kind);
    EXPECT_TRUE(rig.fake.log->lines().empty()) << error.domain();
    EXPECT_EQ(rig.tracker->events.size(), 2u);
  }
}

TEST_F(SignInTest, MessagesAreNotComputedWhenTheLevelIsOff) {
  struct BrokenArchive final : SessionArchive {
    Data encode(const AuthSession&) const override { throw AnyError(CountedError{}); }
    std::shared_ptr<AuthSession> decode(const Data&) const override { return nullptr; }
  };
  const auto descriptions = [](bool logged) {
    FakePlatform platform;
    if (!logged) platform.log->switchOff();
    auto pieces = platform.platform();
    pieces.sessionArchive = std::make_shared<BrokenArchive>();
    CorvaneFactory failing(
        dataFromText(R"({"client_id": "id", "clientSecret": "secret"})"), "service", "group",
        [] { return WindowHandle::terminal(); }, std::move(pieces));
    const auto signIns = failing.makeAuthorizationProvider(nullptr);
    const Recorder account(signIns->signIn());
    const int before = CountedError::descriptions();
    platform.signInServices.made.at(0)->finish(std::make_shared<FakeSession>("ada@example.com"),
                                               std::nullopt);
    EXPECT_EQ(account.error()->kind(), Case::tokenSaveFailed);
    EXPECT_EQ(platform.log->lines().size(), logged ? 1u : 0u);
    return CountedError::descriptions() - before;
  };
  EXPECT_LT(descriptions(false), descriptions(true));
}

TEST_F(SignInTest, NeitherSessionNorErrorIsUnknownAndNotLogged) {
  const Recorder account(provider->signIn());
  service().finish(nullptr, std::nullopt);
  EXPECT_EQ(account.error()->kind(), Case::signInFailedUnknown);
  EXPECT_TRUE(fake.log->lines().empty());
}

TEST_F(SignInTest, ASessionWithoutAnEmailFailsByItsErrorOrAsUnknown) {
  const auto nameless = std::make_shared<FakeSession>(std::nullopt);
  const Recorder without(provider->signIn());
  service(0).finish(nameless, std::nullopt);
  EXPECT_EQ(without.error()->kind(), Case::signInFailedUnknown);
  EXPECT_TRUE(fake.log->lines().empty());

  const Recorder with(provider->signIn());
  service(1).finish(nameless, serviceError(-7));
  EXPECT_EQ(with.error()->kind(), Case::signInFailed);
  EXPECT_EQ(fake.log->lines().size(), 1u);
  EXPECT_TRUE(fake.keychain->calls().empty());
}

TEST_F(SignInTest, ASessionWithAnEmailWinsOverAnError) {
  const Recorder account(provider->signIn());
  service().finish(std::make_shared<FakeSession>("ada@example.com"), serviceError(-7));
  EXPECT_THAT(account.events(), ElementsAre("value", "finished"));
}

TEST_F(SignInTest, CancellingSendsCancelToTheServiceAndReportsNoFinish) {
  Recorder account(provider->signIn());
  account.cancel();
  account.cancel();
  EXPECT_EQ(service().cancellations, 1);
  succeed();
  EXPECT_THAT(account.events(), IsEmpty());
  EXPECT_THAT(tracker->events, ElementsAre("started"));
}

TEST_F(SignInTest, LaterHandlerCallsOfACancelledServiceAreIgnored) {
  const auto session = std::make_shared<FakeSession>("ada@example.com");
  const auto endings = std::vector<std::function<void(FakeSignInService&)>>{
      [&](auto& careless) { careless.finish(session, std::nullopt); },
      [](auto& careless) { careless.finish(nullptr, serviceError(-7)); },
      [](auto& careless) { careless.dropHandler(); },
  };
  for (const auto& end : endings) {
    SignInRig rig;
    Recorder account(rig.provider->signIn());
    rig.service().keepsHandler = true;
    account.cancel();
    end(rig.service());
    EXPECT_THAT(account.events(), IsEmpty());
    EXPECT_THAT(rig.tracker->events, ElementsAre("started"));
  }
}

TEST_F(SignInTest, CancelledWhileTheSessionIsSavedReportsNoFinish) {
  fake.keychain->block();
  Recorder account(provider->signIn());
  std::thread saving([this] { succeed(); });
  fake.keychain->waitUntilBlocked();
  account.cancel();
  fake.keychain->release();
  saving.join();
  EXPECT_THAT(account.events(), IsEmpty());
  EXPECT_THAT(tracker->events, ElementsAre("started"));
  EXPECT_EQ(fake.keychain->items().size(), 1u);
}

TEST_F(SignInTest, CallsTheTrackerOnTheCallingAndOnTheCompletingThread) {
  std::thread::id calling;
  std::optional<GoogleDriveAuthorizationProvider::SignInPublisher> publisher;
  std::thread([&] {
    calling = std::this_thread::get_id();
    publisher = provider->signIn();
  }).join();
  EXPECT_THAT(tracker->threads, ElementsAre(calling));

  const Recorder account(*publisher);  // here
  std::thread::id completing;
  std::thread([&] {
    completing = std::this_thread::get_id();
    succeed();
  }).join();
  EXPECT_THAT(tracker->threads, ElementsAre(calling, completing));

  window.reset();
  const Recorder failing(*publisher);
  EXPECT_THAT(tracker->threads, ElementsAre(calling, completing, std::this_thread::get_id()));
}

TEST_F(SignInDeathTest, AnExceptionOfTheTrackerEndsTheProgram) {
  struct ThrowingTracker final : GoogleDriveAuthorizationNFRTrackerType {
    explicit ThrowingTracker(bool atStart) : throwsAtStart(atStart) {}
    void trackSignInStarted() override {
      if (throwsAtStart) throw std::runtime_error("the host's bug");
    }
    void trackSignInFinished(const Result<Void, GoogleDriveAuthorizationProviderError>&) override {
      throw std::runtime_error("the host's bug");
    }
    const bool throwsAtStart;
  };
  EXPECT_DEATH(factory.makeAuthorizationProvider(std::make_shared<ThrowingTracker>(true))->signIn(),
               "the host's bug|terminate");

  window.reset();  // the sign-in fails within sink, where the host could catch what is thrown
  const auto measured = factory.makeAuthorizationProvider(std::make_shared<ThrowingTracker>(false));
  const auto publisher = measured->signIn();
  EXPECT_DEATH(Recorder{publisher}, "the host's bug|terminate");
}

TEST_F(SignInTest, CancelledWithinTheAccountCallbackReportsNoFinish) {
  AnyCancellable subscription;
  bool completed = false;
  subscription = provider->signIn().sink([&](const auto&) { completed = true; },
                                         [&](const auto&) { subscription.cancel(); });
  succeed();
  EXPECT_FALSE(completed);
  EXPECT_THAT(tracker->events, ElementsAre("started"));
}

TEST_F(SignInTest, AServiceThatLetsGoOfItsHandlerFailsAsUnknown) {
  const Recorder account(provider->signIn());
  service().dropHandler();
  EXPECT_EQ(account.error()->kind(), Case::signInFailedUnknown);
  EXPECT_THAT(tracker->events, ElementsAre("started", "failed: Google Drive sign-in failed: Unknown error."));
}

TEST_F(SignInTest, SubscribedTwiceStartsTwoSignInsWithOneStartAndTwoFinishes) {
  const auto publisher = provider->signIn();
  const Recorder first(publisher);
  const Recorder second(publisher);
  EXPECT_EQ(windowRequests, 2);
  EXPECT_EQ(fake.signInServices.made.size(), 2u);
  service(0).finish(std::make_shared<FakeSession>("ada@example.com"), std::nullopt);
  EXPECT_FALSE(second.ended());
  service(1).finish(std::make_shared<FakeSession>("bob@example.com"), std::nullopt);
  EXPECT_EQ(second.value()->userEmail(), "bob@example.com");
  EXPECT_THAT(tracker->events, ElementsAre("started", "succeeded", "succeeded"));
}

TEST_F(SignInTest, TheSubscriptionKeepsItsServiceUntilItEnds) {
  Recorder account(provider->signIn());
  const std::weak_ptr watch = fake.signInServices.made.at(0);
  auto running = watch.lock();
  fake.signInServices.made.clear();
  EXPECT_GE(watch.use_count(), 2) << "the test's and the subscription's";
  running->finish(nullptr, std::nullopt);
  EXPECT_TRUE(account.ended());
  running.reset();
  EXPECT_TRUE(watch.expired());
}

TEST_F(SignInTest, WithoutATrackerMeasuresNothing) {
  const auto unmeasured = factory.makeAuthorizationProvider(nullptr);
  const Recorder account(unmeasured->signIn());
  succeed();
  EXPECT_THAT(account.events(), ElementsAre("value", "finished"));
  EXPECT_THAT(tracker->events, IsEmpty());
}

TEST_F(SignInTest, EndsOnTheThreadWhereTheServiceCallsBack) {
  const Recorder account(provider->signIn());
  std::thread::id pool;
  std::thread caller([&] {
    pool = std::this_thread::get_id();
    succeed();
  });
  caller.join();
  EXPECT_THAT(account.threads(), ElementsAre(pool, pool));
}
