// Operations of one API object that begin while another of them builds the service.
#include <Corvane/GoogleDriveAPI.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <utility>

#include "support/DriveSamples.hpp"
#include "support/ErrorMatchers.hpp"
#include "support/FakePlatform.hpp"
#include "support/Recorder.hpp"

using namespace corvane;
using namespace corvane::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class WaitingForServiceTest : public testing::Test {
 protected:
  // While the service is built for the first time, the rest of what is queued runs and `meanwhile`
  // is done.
  std::shared_ptr<GTLRDriveService> build() {
    if (++builds == 1) {
      fake.userInitiatedQueue->runAll();
      if (meanwhile) meanwhile();
    }
    if (builds <= failingBuilds) throw AnyError(KeychainStoreError::unhandled(-25308));
    return service;
  }
  void run() { fake.userInitiatedQueue->runAll(); }

  FakePlatform fake;
  std::shared_ptr<FakeDriveService> service = std::make_shared<FakeDriveService>();
  int builds = 0;
  int failingBuilds = 0;
  std::function<void()> meanwhile;
  GoogleDriveAPI api{GoogleDriveAccountModel("ada@example.com"), nullptr, fake.platform(),
                     [this] { return build(); }};
};

}  // namespace

TEST_F(WaitingForServiceTest, TheyIssueTheirRequestsOnceItIsBuilt) {
  const Recorder first(api.getAbout());
  const Recorder second(api.getFilesPage(std::nullopt));
  const Recorder third(api.deleteFile("id"));
  meanwhile = [&] { EXPECT_EQ(service->requestCount(), 0u); };
  run();
  EXPECT_EQ(builds, 1);
  EXPECT_EQ(service->requestCount(), 3u);
}

TEST_F(WaitingForServiceTest, AfterAFailureTheNextBuildsAndTheOthersShareIt) {
  failingBuilds = 1;
  const Recorder first(api.deleteFile("1"));
  const Recorder second(api.deleteFile("2"));
  const Recorder third(api.deleteFile("3"));
  run();
  EXPECT_EQ(builds, 2);
  EXPECT_TRUE(first.error());
  EXPECT_EQ(service->requestCount(), 2u);
}

TEST_F(WaitingForServiceTest, EachFailsWithItsOwnBuildsError) {
  failingBuilds = 3;
  const Recorder first(api.getAbout());
  const Recorder second(api.getFilesPage(std::nullopt));
  const Recorder third(api.moveToTrash("id"));
  run();
  EXPECT_EQ(builds, 3);
  for (const auto& error : {first.error(), second.error(), third.error()})
    EXPECT_EQ(error->as<KeychainStoreError>(), KeychainStoreError::unhandled(-25308));
}

TEST_F(WaitingForServiceTest, OneCancelledMeanwhileIsSilentAndTheNextGoesOn) {
  failingBuilds = 1;
  const Recorder first(api.deleteFile("1"));
  Recorder second(api.deleteFile("2"));
  const Recorder third(api.deleteFile("3"));
  meanwhile = [&] { second.cancel(); };
  run();
  EXPECT_THAT(second.events(), IsEmpty());
  EXPECT_EQ(builds, 2) << "the cancelled one asks for nothing";
  EXPECT_EQ(service->requestCount(), 1u);
}

TEST_F(WaitingForServiceTest, OneCancelledAfterItsTurnCancelsItsTicket) {
  const Recorder first(api.getAbout());
  Recorder second(api.getAbout());
  run();
  ASSERT_EQ(service->requestCount(), 2u);
  second.cancel();
  EXPECT_EQ(service->requests().at(1).ticket->cancellations, 1);
  EXPECT_EQ(service->requests().at(0).ticket->cancellations, 0);
}

TEST_F(WaitingForServiceTest, AFailureIsToldAfterTheTurnHasPassedOn) {
  failingBuilds = 1;
  bool nextHasGone = false;
  const auto first = api.deleteFile("1").sink(
      [&](const auto&) {
        run();  // as a host does that waits here for another operation of the object
        nextHasGone = service->requestCount() == 1;
      },
      [](const Void&) {});
  const Recorder second(api.deleteFile("2"));
  run();
  EXPECT_TRUE(nextHasGone);
}
