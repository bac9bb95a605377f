#include "GoogleDriveAPI/RetryPolicy.hpp"

#include <Corvane/GoogleDriveAPIError.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "support/Recorder.hpp"
#include "unit/core/DriveRig.hpp"

using namespace corvane;
using namespace corvane::test;
using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

bool retries(std::string_view domain, std::int64_t code) {
  return isRetryable(NSError(domain, code));
}

class RetryTest : public testing::Test, protected DriveRig {};

}  // namespace

TEST(RetryPolicy, RetriesABusyDriveInBothOfItsDomains) {
  for (const auto* domain : {"com.google.GTLRErrorObjectDomain", "com.google.GTLRServiceErrorDomain"}) {
    for (const auto code : {429, 500, 502, 503, 504}) EXPECT_TRUE(retries(domain, code)) << domain << code;
    for (const auto code : {400, 401, 403, 404, 408, 501, 505, -1001}) EXPECT_FALSE(retries(domain, code));
  }
}

TEST(RetryPolicy, RetriesANetworkThatMayComeBack) {
  for (const auto code : {-1001, -1004, -1005, -1009, -1011, -1200})
    EXPECT_TRUE(retries("NSURLErrorDomain", code)) << code;
  for (const auto code : {-999, -1003, -1017, -1103, -1202, 503})
    EXPECT_FALSE(retries("NSURLErrorDomain", code)) << code;
}

TEST(RetryPolicy, RetriesNoOtherDomain) {
  EXPECT_FALSE(retries("Another.Domain", 503));
  EXPECT_FALSE(retries("NSOSStatusErrorDomain", -1001));
  EXPECT_FALSE(isRetryable(GoogleDriveAPIError::convertFilesList));
  EXPECT_FALSE(isRetryable(KeychainStoreError::unhandled(503)));
}

TEST(RetryPolicy, DelaysDoubleFromOneSecondUpToEight) {
  EXPECT_EQ(driveRetryBehavior.count(), 4);
  EXPECT_EQ(driveRetryBehavior.delay(0), 1s);
  EXPECT_EQ(driveRetryBehavior.delay(1), 2s);
  EXPECT_EQ(driveRetryBehavior.delay(2), 4s);
  EXPECT_EQ(driveRetryBehavior.delay(3), 8s);
  EXPECT_EQ(driveRetryBehavior.delay(4), 8s);
}

TEST(DelayedRetryBehavior, CountsDelaysToTheMicrosecond) {
  const auto behavior = DelayedRetryBehavior::exponentialDelayed(9, 0.25, 0.5, 0.5);
  EXPECT_EQ(behavior.delay(0), 250ms);
  EXPECT_EQ(behavior.delay(1), 375ms);
  EXPECT_EQ(behavior.delay(2), 500ms);
}

TEST_F(RetryTest, TriesAtMostFourTimesMoreAfterOneTwoFourAndEightSeconds) {
  const Recorder about(api->getAbout());
  run();
  std::size_t attempt = 0;
  for (const auto delay : {1s, 2s, 4s, 8s}) {
    fail(attempt, driveError(503));
    queue().advance(delay - 1us);
    EXPECT_EQ(service().requestCount(), attempt + 1) << "too early";
    queue().advance(1us);
    EXPECT_EQ(service().requestCount(), ++attempt + 1);
  }
  fail(attempt, driveError(503));
  EXPECT_THAT(about.events(), ElementsAre("failed"));
  queue().advance(1min);
  EXPECT_EQ(service().requestCount(), 5u);
  EXPECT_THAT(queue().delays(), ElementsAre(1s, 2s, 4s, 8s));
}

TEST_F(RetryTest, ASuccessfulFurtherAttemptIsTheResult) {
  const Recorder about(api->getAbout());
  run();
  fail(0, networkError(-1005));
  queue().advance(1s);
  fail(1, driveError(429));
  queue().advance(2s);
  answer(2, aboutObject());
  EXPECT_THAT(about.events(), ElementsAre("value", "finished"));
}

TEST_F(RetryTest, AFurtherAttemptThatFailsForGoodEndsIt) {
  const Recorder about(api->getAbout());
  run();
  fail(0, driveError(503));
  queue().advance(1s);
  fail(1, driveError(404));
  EXPECT_EQ(about.error()->code(), 404);
  EXPECT_EQ(queue().pendingTimers(), 0u);
}

TEST_F(RetryTest, AnUnconvertibleAnswerIsNotRetried) {
  const Recorder about(api->getAbout());
  run();
  answer(0, std::monostate{});
  EXPECT_TRUE(about.ended());
  EXPECT_TRUE(queue().delays().empty());
}

TEST_F(RetryTest, EverySubscriptionCountsItsOwnAttempts) {
  const auto publisher = api->getAbout();
  const Recorder first(publisher);
  const Recorder second(publisher);
  run();
  for (std::size_t request = 0; request < 10; ++request) {
    fail(request, driveError(503));
    if (request % 2 == 1) queue().advance(8s);
  }
  EXPECT_TRUE(first.ended());
  EXPECT_TRUE(second.ended());
  EXPECT_EQ(service().requestCount(), 10u);
}

TEST_F(RetryTest, EveryAttemptUsesTheSameService) {
  const Recorder about(api->getAbout());
  run();
  fail(0, driveError(503));
  queue().advance(1s);
  ASSERT_EQ(fake.driveServices.size(), 1u);
  EXPECT_EQ(service().requestCount(), 2u) << "both attempts went through it";
  EXPECT_EQ(fake.keychain->calls().size(), 1u);
}
