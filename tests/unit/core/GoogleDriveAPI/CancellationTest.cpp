#include <Corvane/GoogleDriveAPI.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/Recorder.hpp"
#include "unit/core/DriveRig.hpp"

using namespace corvane;
using namespace corvane::test;
using namespace std::chrono_literals;

namespace {

class CancellationTest : public testing::Test, protected DriveRig {
 protected:
  int cancellations(std::size_t request) { return service().requests().at(request).ticket->cancellations; }
};

struct CountingReceiver final : Receiver<Void, AnyError> {
  void receive(Void) override {}
  void complete(Completion<AnyError>) override { ++ends; }
  int ends = 0;
};

}  // namespace

TEST_F(CancellationTest, BeforeTheQueueGetsToItNothingIsBuiltOrLogged) {
  Recorder about(api->getAbout());
  about.cancel();
  run();
  EXPECT_TRUE(fake.driveServices.empty());
  EXPECT_TRUE(log().empty());
  EXPECT_TRUE(about.events().empty());
}

TEST_F(CancellationTest, BetweenTheAnswerAndItsHandlingIsSilentAlthoughTheAnswerIsStillLogged) {
  Recorder page(api->getFilesPage(std::nullopt));
  run();
  service().answer(0, fileList({}));
  page.cancel();
  run();
  EXPECT_TRUE(page.events().empty());
  ASSERT_FALSE(log().empty());
  EXPECT_THAT(log().back(), testing::HasSubstr("files.list page received"));
}

TEST_F(CancellationTest, WhileTheRequestRunsCancelsItsTicketOnceAndIsSilent) {
  Recorder about(api->getAbout());
  Recorder page(api->getFilesPage(std::nullopt));
  Recorder deleted(api->deleteFile("id"));
  Recorder moved(api->moveToTrash("id"));
  run();
  about.cancel();
  page.cancel();
  deleted.cancel();
  moved.cancel();
  about.cancel();
  for (std::size_t request = 0; request < 4; ++request) EXPECT_EQ(cancellations(request), 1);
  run();
  EXPECT_TRUE(about.events().empty());
  EXPECT_TRUE(page.events().empty());
  EXPECT_TRUE(deleted.events().empty());
  EXPECT_TRUE(moved.events().empty());
}

TEST_F(CancellationTest, DroppingTheSubscriptionCancelsTheTicketToo) {
  Recorder about(api->getAbout());
  run();
  about.drop();
  EXPECT_EQ(cancellations(0), 1);
}

TEST_F(CancellationTest, LeavesOtherRequestsAlone) {
  Recorder cancelled(api->getAbout());
  const Recorder kept(api->getAbout());
  run();
  cancelled.cancel();
  answer(1, aboutObject());
  EXPECT_EQ(cancellations(1), 0);
  EXPECT_TRUE(kept.ended());
}

TEST_F(CancellationTest, BetweenTheAnswerAndItsHandlingIsSilent) {
  Recorder about(api->getAbout());
  run();
  service().answer(0, aboutObject());
  about.cancel();
  run();
  EXPECT_TRUE(about.events().empty());
}

TEST_F(CancellationTest, DuringARetryDelayEndsTheDelayAtOnce) {
  Recorder about(api->getAbout());
  run();
  fail(0, driveError(503));
  EXPECT_EQ(queue().pendingTimers(), 1u);
  about.cancel();
  EXPECT_EQ(queue().pendingTimers(), 0u);
  queue().advance(1min);
  EXPECT_EQ(service().requestCount(), 1u);
  EXPECT_TRUE(about.events().empty());
}

TEST_F(CancellationTest, BetweenADelayAndTheNextAttemptStartsNothing) {
  Recorder about(api->getAbout());
  run();
  fail(0, driveError(503));
  queue().fireTimers(1s);
  ASSERT_EQ(queue().pendingBlocks(), 1u) << "the next attempt waits for its turn";
  about.cancel();
  run();
  EXPECT_EQ(service().requestCount(), 1u);
  EXPECT_EQ(log().size(), 2u) << "a start and a failure, and no second start";
  EXPECT_TRUE(about.events().empty());
}

TEST_F(CancellationTest, OfASecondAttemptCancelsTheSecondTicket) {
  Recorder page(api->getFilesPage(std::nullopt));
  run();
  fail(0, driveError(503));
  queue().advance(1s);
  page.cancel();
  EXPECT_EQ(cancellations(0), 0);
  EXPECT_EQ(cancellations(1), 1);
  run();
  EXPECT_TRUE(page.events().empty());
}

TEST_F(CancellationTest, AfterAFailedServiceBuildDoesNothing) {
  // A failure that is tried again, so that the subscription is still open when it is cancelled.
  int builds = 0;
  GoogleDriveAPI failing(GoogleDriveAccountModel("ada@example.com"), nullptr, fake.platform(),
                         [&]() -> std::shared_ptr<GTLRDriveService> {
                           ++builds;
                           throw AnyError(networkError(-1001));
                         });
  Recorder about(failing.getAbout());
  run();
  ASSERT_TRUE(about.events().empty());
  about.cancel();
  queue().advance(1min);
  EXPECT_EQ(builds, 1);
  EXPECT_TRUE(about.events().empty());

  // What a failed write leaves to cancel is nothing, and cancelling it calls nobody.
  const auto receiver = std::make_shared<CountingReceiver>();
  const auto left = failing.deleteFile("id").subscribe(receiver);
  run();
  ASSERT_EQ(receiver->ends, 1);
  if (left) left->cancel();
  run();
  EXPECT_EQ(receiver->ends, 1);
  EXPECT_EQ(builds, 2);
}

TEST_F(CancellationTest, AfterTheEndCancelsNoTicket) {
  Recorder about(api->getAbout());
  run();
  answer(0, aboutObject());
  about.cancel();
  EXPECT_EQ(cancellations(0), 0);
}
