#include <Corvane/CorvaneFactory.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <system_error>

#include "GoogleDriveAPI/GoogleDriveAPIRequestError.hpp"
#include "GoogleDriveAccountProvider.hpp"
#include "support/FakePlatform.hpp"
#include "support/PlainJSON.hpp"
#include "support/Recorder.hpp"
#include "unit/core/DriveRig.hpp"
#include "unit/core/SignInRig.hpp"

using namespace corvane;
using namespace corvane::test;
using testing::ElementsAre;

namespace {

const GoogleDriveAccountModel ada("ada@example.com");
constexpr auto credentials = R"({"client_id": "id", "clientSecret": "secret"})";

class CorvaneFactoryTest : public testing::Test {
 protected:
  std::optional<CorvaneFactory> makeFactory(std::optional<Data> json = dataFromText(credentials)) {
    auto window = [held = windowHolds]() -> std::optional<WindowHandle> { return WindowHandle::terminal(); };
    return std::optional<CorvaneFactory>(std::in_place, std::move(json), "service", "group",
                                         std::move(window), fake.platform());
  }

  /// Signs `email` in through a provider.
  void signIn(GoogleDriveAuthorizationProviderType& provider, const std::string& email) {
    const Recorder account(provider.signIn());
    fake.signInServices.made.back()->finish(std::make_shared<FakeSession>(email), std::nullopt);
    EXPECT_TRUE(account.value());
  }

  FakePlatform fake;
  std::shared_ptr<int> windowHolds = std::make_shared<int>();
};

}  // namespace

TEST_F(CorvaneFactoryTest, TouchesNothingAtConstructionNorWhenItMakesThings) {
  auto factory = makeFactory(dataFromText("not JSON"));
  factory->makeAuthorizationProvider(nullptr);
  factory->makeAccountProvider();
  factory->makeAPI(GoogleDriveAccountModel("nobody@example.com"));
  EXPECT_TRUE(fake.keychain->calls().empty());
  EXPECT_TRUE(fake.driveServices.empty());
  EXPECT_TRUE(fake.signInServices.made.empty());
  EXPECT_EQ(fake.taskPool->pendingBlocks() + fake.userInitiatedQueue->pendingBlocks(), 0u);
}

TEST_F(CorvaneFactoryTest, MakesANewObjectAtEveryCall) {
  auto factory = makeFactory();
  EXPECT_NE(factory->makeAPI(ada), factory->makeAPI(ada));
  EXPECT_NE(factory->makeAccountProvider(), factory->makeAccountProvider());
  EXPECT_NE(factory->makeAuthorizationProvider(nullptr), factory->makeAuthorizationProvider(nullptr));
}

TEST_F(CorvaneFactoryTest, EverythingItMakesSharesOneStore) {
  auto factory = makeFactory();
  // The store is all that keeps the keychain store factory, and with it the session archive.
  const auto before = fake.sessionArchive.use_count();
  const auto provider = factory->makeAuthorizationProvider(nullptr);
  const auto withStore = fake.sessionArchive.use_count();
  EXPECT_EQ(withStore, before + 1);
  const auto accounts = factory->makeAccountProvider();
  const auto api = factory->makeAPI(ada);
  const auto otherAPI = factory->makeAPI(ada);
  EXPECT_EQ(fake.sessionArchive.use_count(), withStore) << "another store was made";

  signIn(*provider, "ada@example.com");
  const Recorder listed(accounts->getAccounts());
  fake.taskPool->runAll();
  EXPECT_THAT(*listed.value(), ElementsAre(ada));
  const Recorder about(api->getAbout());
  fake.userInitiatedQueue->runAll();
  EXPECT_EQ(fake.driveServices.at(0)->authorizer()->userEmail(), "ada@example.com");
}

TEST_F(CorvaneFactoryTest, ASecondOneWithTheSameSettingsHasAnotherStoreOverTheSameItems) {
  auto first = makeFactory();
  auto second = makeFactory();
  const auto provider = first->makeAuthorizationProvider(nullptr);
  const auto withOneStore = fake.sessionArchive.use_count();
  const auto accounts = second->makeAccountProvider();
  EXPECT_EQ(fake.sessionArchive.use_count(), withOneStore + 1);
  signIn(*provider, "ada@example.com");
  const Recorder listed(accounts->getAccounts());
  fake.taskPool->runAll();
  EXPECT_THAT(*listed.value(), ElementsAre(ada));
}

TEST_F(CorvaneFactoryTest, KeepsItsStoreForItsOwnLifetimeAndNoLonger) {
  auto factory = makeFactory();
  const auto before = fake.sessionArchive.use_count();
  factory->makeAccountProvider();
  EXPECT_EQ(fake.sessionArchive.use_count(), before + 1) << "the store outlives the provider";
  factory->makeAccountProvider();
  EXPECT_EQ(fake.sessionArchive.use_count(), before + 1);
  factory.reset();
  EXPECT_EQ(fake.sessionArchive.use_count(), 1);
}

TEST_F(CorvaneFactoryTest, SessionsStandUnderItsServiceNameAndAccessGroup) {
  auto factory = makeFactory();
  signIn(*factory->makeAuthorizationProvider(nullptr), "ada@example.com");
  const auto item = fake.keychain->items().at(0);
  EXPECT_EQ(*item.at("kSecAttrService").text(), "service");
  EXPECT_EQ(*item.at("kSecAttrAccessGroup").text(), "group");
  EXPECT_EQ(*item.at("kSecAttrAccount").text(), "ada@example.com");
}

TEST_F(CorvaneFactoryTest, OfAnotherAccessGroupSeesNoneOfItsSessions) {
  auto factory = makeFactory();
  signIn(*factory->makeAuthorizationProvider(nullptr), "ada@example.com");
  CorvaneFactory other(
      dataFromText(credentials), "service", "another group",
      [] { return WindowHandle::terminal(); }, fake.platform());
  signIn(*other.makeAuthorizationProvider(nullptr), "ada@example.com");
  EXPECT_EQ(fake.keychain->items().size(), 2u) << "one item for each group";

  const Recorder out(other.makeAuthorizationProvider(nullptr)->signOut(ada));
  fake.taskPool->runAll();
  ASSERT_TRUE(out.value());
  const Recorder none(other.makeAccountProvider()->getAccounts());
  const Recorder still(factory->makeAccountProvider()->getAccounts());
  fake.taskPool->runAll();
  EXPECT_TRUE(none.error());
  EXPECT_THAT(*still.value(), ElementsAre(ada));
}

TEST_F(CorvaneFactoryTest, DecodesTheCredentialsAnewForEachProvider) {
  struct CountingJSON final : JSON {
    std::unique_ptr<Decoder> decoder(const Data& document) const override {
      ++decoded;
      return PlainJSON().decoder(document);
    }
    std::string encode(const std::function<void(Encoder&)>& encode) const override {
      return PlainJSON().encode(encode);
    }
    mutable int decoded = 0;
  };
  const auto json = std::make_shared<CountingJSON>();
  Platform platform = fake.platform();
  platform.json = json;
  CorvaneFactory factory(
      dataFromText(credentials), "service", "group", [] { return std::nullopt; },
      std::move(platform));
  EXPECT_EQ(json->decoded, 0);
  factory.makeAuthorizationProvider(nullptr);
  factory.makeAuthorizationProvider(nullptr);
  EXPECT_EQ(json->decoded, 2);
}

TEST_F(CorvaneFactoryTest, WithoutATrackerMakesAProviderThatReportsNothing) {
  auto factory = makeFactory();
  signIn(*factory->makeAuthorizationProvider(nullptr), "ada@example.com");
}

TEST_F(CorvaneFactoryTest, WithoutCredentialsOnlyRefusesToSignIn) {
  auto factory = makeFactory();
  signIn(*factory->makeAuthorizationProvider(nullptr), "ada@example.com");

  auto withoutCredentials = makeFactory(std::nullopt);
  const Recorder refused(withoutCredentials->makeAuthorizationProvider(nullptr)->signIn());
  EXPECT_EQ(refused.error()->kind(), GoogleDriveAuthorizationProviderError::Case::missingCredentials);

  const Recorder listed(withoutCredentials->makeAccountProvider()->getAccounts());
  fake.taskPool->runAll();
  EXPECT_THAT(*listed.value(), ElementsAre(ada));

  const auto api = withoutCredentials->makeAPI(ada);
  const Recorder about(api->getAbout());
  fake.userInitiatedQueue->runAll();
  fake.driveServices.at(0)->answer(0, aboutObject());
  fake.userInitiatedQueue->runAll();
  EXPECT_TRUE(about.value());
}

TEST_F(CorvaneFactoryTest, DestroyedLeavesWhatItMadeUsable) {
  auto factory = makeFactory();
  const auto provider = factory->makeAuthorizationProvider(nullptr);
  const auto accounts = factory->makeAccountProvider();
  const auto api = factory->makeAPI(ada);
  factory.reset();

  signIn(*provider, "ada@example.com");
  const Recorder listed(accounts->getAccounts());
  fake.taskPool->runAll();
  EXPECT_TRUE(listed.value());
  const Recorder deleted(api->deleteFile("id"));
  fake.userInitiatedQueue->runAll();
  EXPECT_EQ(fake.driveServices.at(0)->requestCount(), 1u);
}

TEST_F(CorvaneFactoryTest, DestroyedReleasesTheWindowClosureWithWhatItCaptured) {
  auto factory = makeFactory();
  auto provider = factory->makeAuthorizationProvider(nullptr);
  const std::weak_ptr<int> watch = windowHolds;
  windowHolds.reset();
  factory.reset();
  EXPECT_FALSE(watch.expired()) << "the provider has a copy";
  provider.reset();
  EXPECT_TRUE(watch.expired());
}

TEST_F(CorvaneFactoryTest, AnAccountThatIsNotSignedInFailsInItsOperations) {
  auto factory = makeFactory();
  const auto api = factory->makeAPI(GoogleDriveAccountModel("nobody@example.com"));
  const Recorder about(api->getAbout());
  fake.userInitiatedQueue->runAll();
  EXPECT_TRUE(about.error()->as<KeychainStoreError>());
}

TEST(CorvaneFactory, WithoutAPlatformUsesTheSystemsAtTheFirstOperation) {
  auto& shared = FakePlatform::shared();
  const auto before = shared.keychain.use_count();
  CorvaneFactory factory(std::nullopt, "service", "group", [] { return std::nullopt; });
  EXPECT_EQ(shared.keychain.use_count(), before);
  const auto accounts = factory.makeAccountProvider();
  EXPECT_GT(shared.keychain.use_count(), before);
  const Recorder listed(accounts->getAccounts());
  shared.taskPool->runAll();
  EXPECT_EQ(shared.keychain->calls().size(), 1u);
}

namespace {

/// The system's platform cannot be made while one of these lives.
class NoPlatform {
 public:
  NoPlatform() {
    FakePlatform::sharedCannotBeMade() = [] {
      throw std::system_error(EMFILE, std::generic_category());
    };
  }
  ~NoPlatform() { FakePlatform::sharedCannotBeMade() = nullptr; }
};

bool isNoDescriptor(const AnyError& error) {
  return error.domain() == "NSPOSIXErrorDomain" && error.code() == EMFILE;
}

}  // namespace

TEST(CorvaneFactoryWithoutPlatform, MakesObjectsThatFailAndLaterWork) {
  auto& shared = FakePlatform::shared();
  const auto tracker = std::make_shared<FakeTracker>();
  std::optional<CorvaneFactory> factory(std::in_place, dataFromText(credentials), "service",
                                        "group", [] { return WindowHandle::terminal(); });
  std::shared_ptr<GoogleDriveAuthorizationProviderType> signIns;
  std::shared_ptr<GoogleDriveAccountProviderType> accounts;
  std::shared_ptr<GoogleDriveAPIType> api;
  {
    const NoPlatform meanwhile;
    signIns = factory->makeAuthorizationProvider(tracker);
    accounts = factory->makeAccountProvider();
    api = factory->makeAPI(ada);
    factory.reset();

    const Recorder account(signIns->signIn());
    ASSERT_TRUE(account.error());
    EXPECT_EQ(account.error()->kind(), GoogleDriveAuthorizationProviderError::Case::signInFailed);
    EXPECT_TRUE(isNoDescriptor(*account.error()->underlying()));
    EXPECT_EQ(tracker->events.size(), 2u) << "a start and a finish";

    const Recorder out(signIns->signOut(ada));
    const Recorder listed(accounts->getAccounts());
    const Recorder about(api->getAbout());
    const Recorder deleted(api->deleteFile("id"));
    const Recorder moved(api->moveToTrash("id"));
    for (const auto* error :
         {&out.error(), &listed.error(), &about.error(), &deleted.error(), &moved.error()})
      EXPECT_TRUE(*error && isNoDescriptor(**error));
    const Recorder page(api->getFilesPage("token"));
    const auto request = page.error()->as<GoogleDriveAPIRequestError>();
    ASSERT_TRUE(request);
    EXPECT_EQ(request->accountEmail, "ada@example.com");
    EXPECT_EQ(request->pageToken, "token");
    EXPECT_TRUE(isNoDescriptor(request->underlying));
  }

  const Recorder account(signIns->signIn());
  shared.signInServices.made.back()->finish(std::make_shared<FakeSession>("ada@example.com"),
                                            std::nullopt);
  EXPECT_TRUE(account.value());
  EXPECT_EQ(tracker->events.size(), 4u) << "measured once";
  const Recorder listed(accounts->getAccounts());
  shared.taskPool->runAll();
  EXPECT_THAT(*listed.value(), ElementsAre(ada));
  const Recorder about(api->getAbout());
  const Recorder page(api->getFilesPage(std::nullopt));
  shared.userInitiatedQueue->runAll();
  EXPECT_EQ(shared.driveServices.back()->requestCount(), 2u);
  const Recorder out(signIns->signOut(ada));
  shared.taskPool->runAll();
  EXPECT_TRUE(out.value());
}

TEST(CorvaneFactoryWithoutPlatform, MakesTheRealObjectAtTheNextCall) {
  CorvaneFactory factory(std::nullopt, "service", "group", [] { return std::nullopt; });
  {
    const NoPlatform meanwhile;
    factory.makeAccountProvider();
  }
  const auto real = factory.makeAccountProvider();
  EXPECT_TRUE(std::dynamic_pointer_cast<GoogleDriveAccountProvider>(real));
}
