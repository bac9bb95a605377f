#include "GoogleDriveAPI/CorvaneProvider.hpp"

#include <Corvane/AnyError.hpp>
#include <Corvane/GoogleDriveAPI.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

#include "support/ErrorMatchers.hpp"
#include "support/FakeDriveService.hpp"
#include "support/Recorder.hpp"
#include "unit/core/DriveRig.hpp"

using namespace corvane;
using namespace corvane::test;
using testing::ElementsAre;

namespace {

class ProviderInUseTest : public testing::Test, protected DriveRig {};

}  // namespace

TEST(CorvaneProvider, BuildsNothingAtConstruction) {
  int builds = 0;
  const CorvaneProvider provider([&builds] {
    ++builds;
    return std::make_shared<FakeDriveService>();
  });
  EXPECT_EQ(builds, 0);
}

TEST(CorvaneProvider, BuildsOnceAndHandsTheSameServiceOut) {
  int builds = 0;
  CorvaneProvider provider([&builds] {
    ++builds;
    return std::make_shared<FakeDriveService>();
  });
  const auto first = provider.service();
  EXPECT_EQ(provider.service(), first);
  EXPECT_EQ(builds, 1);
}

TEST(CorvaneProvider, AFailedBuildIsNotRememberedAndItsErrorPassesUnchanged) {
  bool failing = true;
  CorvaneProvider provider([&failing]() -> std::shared_ptr<GTLRDriveService> {
    if (failing) throw AnyError(KeychainStoreError::unhandled(-25308));
    return std::make_shared<FakeDriveService>();
  });
  const auto error = errorOf([&] { provider.service(); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->as<KeychainStoreError>(), KeychainStoreError::unhandled(-25308));
  failing = false;
  EXPECT_TRUE(provider.service());
}

TEST(CorvaneProvider, TwoFirstCallsAtOnceBuildOneService) {
  for (int round = 0; round < 200; ++round) {
    std::atomic<int> builds = 0;
    std::latch start(2);
    CorvaneProvider provider([&builds] {
      ++builds;
      std::this_thread::yield();
      return std::make_shared<FakeDriveService>();
    });
    std::shared_ptr<GTLRDriveService> services[2];
    const auto ask = [&](int who) {
      start.arrive_and_wait();
      services[who] = provider.service();
    };
    std::thread other(ask, 1);
    ask(0);
    other.join();
    ASSERT_EQ(builds, 1);
    ASSERT_EQ(services[0], services[1]);
  }
}

TEST(CorvaneProvider, DestroyedStopsTheFetchersAndThenResetsTheSession) {
  const auto journal = std::make_shared<std::vector<std::string>>();
  {
    CorvaneProvider provider([&journal] { return std::make_shared<FakeDriveService>(journal); });
    provider.service();
    EXPECT_TRUE(journal->empty());
  }
  EXPECT_THAT(*journal, ElementsAre("stopAllFetchers", "resetSession"));
}

TEST(CorvaneProvider, DestroyedEmptyBuildsNothingAndReleasesItsBuilder) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watch = held;
  int builds = 0;
  {
    const CorvaneProvider provider([held = std::move(held), &builds] {
      ++builds;
      return std::make_shared<FakeDriveService>();
    });
  }
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(builds, 0);
}

TEST_F(ProviderInUseTest, InstallsTheStoredSessionAsTheAuthorizer) {
  const Recorder about(api->getAbout());
  run();
  EXPECT_EQ(service().authorizer()->userEmail(), "ada@example.com");
}

TEST_F(ProviderInUseTest, TwoOperationsOfAFreshObjectBuildOneServiceForBoth) {
  const Recorder about(api->getAbout());
  const Recorder page(api->getFilesPage(std::nullopt));
  run();
  EXPECT_EQ(fake.driveServices.size(), 1u);
  EXPECT_EQ(service().requestCount(), 2u);
  EXPECT_EQ(fake.keychain->calls().size(), 1u);
}

TEST_F(ProviderInUseTest, AfterAFailedBuildTheNextOperationOfTheSameObjectReadsTheKeychainAfresh) {
  removeSession();
  const Recorder unsigned_(api->getAbout());
  run();
  EXPECT_TRUE(unsigned_.error()->holds<KeychainStoreError>());
  storeSession();
  const Recorder about(api->getAbout());
  run();
  fake.driveServices.back()->answer(0, aboutObject());
  run();
  EXPECT_THAT(about.events(), ElementsAre("value", "finished"));
}

TEST_F(ProviderInUseTest, RemovingTheSessionDoesNotAffectAServiceThatIsBuilt) {
  const Recorder first(api->getAbout());
  run();
  removeSession();
  const Recorder second(api->getAbout());
  run();
  EXPECT_EQ(fake.driveServices.size(), 1u);
  EXPECT_EQ(service().requestCount(), 2u);
  EXPECT_EQ(service().authorizer()->userEmail(), "ada@example.com");
}

TEST_F(ProviderInUseTest, AnUndecodableSessionFailsWithTheArchivesErrorAndNoService) {
  removeSession();
  fake.keychain->returnInstead(dataFromText("gibberish"));
  const Recorder about(api->getAbout());
  run();
  EXPECT_THAT(*about.error(), IsError("FakeSessionArchive", 1, "damaged archive"));
  ASSERT_EQ(fake.driveServices.size(), 1u);
  EXPECT_EQ(service().requestCount(), 0u);
  EXPECT_EQ(service().authorizer(), nullptr);
  EXPECT_EQ(fake.driveServices.front().use_count(), 1) << "only the test still holds it";

  storeSession();
  const Recorder next(api->getAbout());
  run();
  ASSERT_EQ(fake.driveServices.size(), 2u);
  EXPECT_EQ(fake.driveServices.back()->requestCount(), 1u);
}

TEST_F(ProviderInUseTest, AReplacementBuilderIsCalledInsteadAndNeedsNoSession) {
  const auto replacement = std::make_shared<FakeDriveService>();
  GoogleDriveAPI replaced(GoogleDriveAccountModel("nobody@example.com"), nullptr, fake.platform(),
                          [replacement] { return replacement; });
  const Recorder about(replaced.getAbout());
  run();
  EXPECT_EQ(replacement->requestCount(), 1u);
  EXPECT_TRUE(fake.keychain->calls().empty());
  EXPECT_TRUE(fake.driveServices.empty());
}

TEST_F(ProviderInUseTest, EachObjectHasAServiceOfItsOwn) {
  const auto otherAPI = factory.makeAPI(GoogleDriveAccountModel("ada@example.com"));
  const Recorder one(api->getAbout());
  const Recorder other(otherAPI->getAbout());
  run();
  EXPECT_EQ(fake.driveServices.size(), 2u);
}
