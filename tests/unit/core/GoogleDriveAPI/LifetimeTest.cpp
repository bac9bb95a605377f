#include <Corvane/GoogleDriveAPI.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "GoogleDriveAPI/GoogleDriveAPIRequestError.hpp"
#include "support/ErrorMatchers.hpp"
#include "support/Recorder.hpp"
#include "unit/core/DriveRig.hpp"

using namespace corvane;
using namespace corvane::test;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const auto isCancelled = IsError("NSURLErrorDomain", -999, "Google Drive request was cancelled.");

class LifetimeTest : public testing::Test, protected DriveRig {};

}  // namespace

TEST_F(LifetimeTest, DestroyingTheObjectWhileARequestRunsStopsItThroughStopAllFetchers) {
  const Recorder about(api->getAbout());
  run();
  EXPECT_THAT(*fake.driveJournal, IsEmpty());
  api.reset();
  EXPECT_THAT(*fake.driveJournal, ElementsAre("stopAllFetchers", "resetSession"));
  EXPECT_FALSE(about.ended()) << "not on the thread that dropped it";
  run();
  EXPECT_THAT(about.events(), ElementsAre("failed"));
  EXPECT_THAT(*about.error(), isCancelled);
}

TEST_F(LifetimeTest, AStoppedListingEndsWithCancelledWrappedAndUnretried) {
  const Recorder page(api->getFilesPage("token"));
  run();
  api.reset();
  run();
  const auto error = page.error()->as<GoogleDriveAPIRequestError>();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->pageToken, "token");
  EXPECT_THAT(error->underlying, isCancelled);
  EXPECT_TRUE(queue().delays().empty());
}

TEST_F(LifetimeTest, StoppedWritesEndWithCancelled) {
  const Recorder deleted(api->deleteFile("id"));
  const Recorder moved(api->moveToTrash("id"));
  run();
  api.reset();
  run();
  EXPECT_THAT(*deleted.error(), isCancelled);
  EXPECT_THAT(*moved.error(), isCancelled);
}

TEST_F(LifetimeTest, AClientThatForgetsItsHandlerEndsTheSubscriptionWithCancelled) {
  const Recorder about(api->getAbout());
  run();
  service().requests().at(0).ticket->release();
  EXPECT_FALSE(about.ended());
  run();
  EXPECT_THAT(*about.error(), isCancelled);
}

TEST_F(LifetimeTest, DestroyedDuringARetryDelayTheOperationEndsWithItsLastError) {
  const Recorder about(api->getAbout());
  const Recorder page(api->getFilesPage(std::nullopt));
  run();
  fail(0, driveError(503, "Busy."));
  fail(1, driveError(429, "Slow down."));
  api.reset();
  EXPECT_FALSE(about.ended());
  queue().advance(1s);
  EXPECT_THAT(*about.error(), IsError("com.google.GTLRErrorObjectDomain", 503, "Busy."));
  EXPECT_THAT(page.error()->as<GoogleDriveAPIRequestError>()->underlying,
              IsError("com.google.GTLRErrorObjectDomain", 429, "Slow down."));
  EXPECT_EQ(queue().delays().size(), 2u) << "no further delay";
}

TEST_F(LifetimeTest, DestroyedBeforeARetryableFailureIsHandledTheOperationEndsWithItWithoutADelay) {
  const Recorder about(api->getAbout());
  run();
  service().fail(0, driveError(503, "Busy."));
  api.reset();
  run();
  EXPECT_THAT(*about.error(), IsError("com.google.GTLRErrorObjectDomain", 503, "Busy."));
  EXPECT_TRUE(queue().delays().empty());
}

TEST_F(LifetimeTest, APublisherValueHoldsTheProvider) {
  std::optional publisher = api->getAbout();
  const Recorder about(*publisher);
  run();
  api.reset();
  EXPECT_THAT(*fake.driveJournal, IsEmpty());
  answer(0, aboutObject());
  EXPECT_THAT(about.events(), ElementsAre("value", "finished"));
  publisher.reset();
  EXPECT_THAT(*fake.driveJournal, ElementsAre("stopAllFetchers", "resetSession"));
}

TEST_F(LifetimeTest, ASubscriptionHoldsTheProviderUntilItsRequestIsIssued) {
  const Recorder about(api->getAbout());
  api.reset();
  run();
  ASSERT_EQ(fake.driveServices.size(), 1u);
  EXPECT_EQ(service().requestCount(), 1u);
  EXPECT_THAT(*fake.driveJournal, ElementsAre("stopAllFetchers", "resetSession"));
  EXPECT_THAT(*about.error(), isCancelled);
}

TEST_F(LifetimeTest, AnEndedSubscriptionHoldsNothing) {
  const Recorder about(api->getAbout());
  run();
  answer(0, aboutObject());
  const std::weak_ptr<FakeDriveService> watch = fake.driveServices.at(0);
  fake.driveServices.clear();
  EXPECT_FALSE(watch.expired()) << "the API object has it";
  api.reset();
  EXPECT_TRUE(watch.expired());
}

TEST_F(LifetimeTest, ACancelledSubscriptionHoldsNothing) {
  Recorder about(api->getAbout());
  run();
  about.cancel();
  const std::weak_ptr<FakeDriveService> watch = fake.driveServices.at(0);
  fake.driveServices.clear();
  api.reset();
  EXPECT_TRUE(watch.expired());
}

TEST_F(LifetimeTest, AnOperationOutlivesTheFactory) {
  std::optional<CorvaneFactory> shortLived(
      std::in_place, std::nullopt, "service", "group", [] { return std::nullopt; }, fake.platform());
  const auto survivor = shortLived->makeAPI(GoogleDriveAccountModel("ada@example.com"));
  shortLived.reset();
  const Recorder about(survivor->getAbout());
  run();
  answer(0, aboutObject());
  EXPECT_TRUE(about.value());
}
