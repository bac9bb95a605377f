#include "DriveServiceFixture.hpp"

#include <functional>

namespace corvane::test {
namespace {

/// A parser that does something before it parses, as another thread would meanwhile.
class InterruptedParser final : public DriveParser {
 public:
  explicit InterruptedParser(std::function<void()> interruption) : interruption_(std::move(interruption)) {}
  std::optional<GTLRDrive_About> about(const Data& body) const override {
    interruption_();
    return parser_.about(body);
  }
  std::optional<GTLRDrive_FileList> fileList(const Data& body) const override {
    interruption_();
    return parser_.fileList(body);
  }
  std::optional<GTLRDrive_File> file(const Data& body) const override { return parser_.file(body); }
  std::optional<DriveErrorObject> error(const Data& body) const override { return parser_.error(body); }

 private:
  std::function<void()> interruption_;
  SIMDJSONDriveParser parser_;
};

class DriveCancellation : public DriveServiceTest {
 protected:
  void expectReleasedUncalled(const Delivery& delivery) const {
    EXPECT_EQ(delivery.calls, 0);
    EXPECT_TRUE(delivery.released);
  }
};

TEST_F(DriveCancellation, WhileWaitingForATokenStopsTheWaitAndSendsNothing) {
  session->hold();
  const auto delivery = execute(aboutQuery());
  EXPECT_EQ(session->waiting(), 1u);
  ticket->cancelTicket();
  expectReleasedUncalled(*delivery);
  EXPECT_EQ(session->waiting(), 0u);
  session->letGo();
  queue->runAll();
  EXPECT_EQ(client->sent(), 0u);
  EXPECT_EQ(delivery->calls, 0);
}

TEST_F(DriveCancellation, OfOneWaiterDoesNotDisturbTheOthers) {
  session->hold();
  const auto first = execute(aboutQuery());
  const auto firstTicket = ticket;
  const auto second = execute(aboutQuery());
  firstTicket->cancelTicket();
  session->letGo();
  ASSERT_EQ(client->sent(), 1u);
  client->answer(0, 200, "{}");
  expectReleasedUncalled(*first);
  EXPECT_EQ(second->calls, 1);
}

TEST_F(DriveCancellation, DuringTheExchangeStopsIt) {
  const auto delivery = execute(deleteQuery());
  ticket->cancelTicket();
  expectReleasedUncalled(*delivery);
  EXPECT_TRUE(client->wasCancelled(0));
}

TEST_F(DriveCancellation, WhileWaitingForAFreshTokenStopsTheWait) {
  const auto delivery = execute(deleteQuery());
  session->hold();
  client->answer(0, 401);
  EXPECT_EQ(session->waiting(), 1u);
  ticket->cancelTicket();
  expectReleasedUncalled(*delivery);
  EXPECT_EQ(session->waiting(), 0u);
  session->letGo();
  EXPECT_EQ(client->sent(), 1u);
}

TEST_F(DriveCancellation, DuringTheRepetitionStopsIt) {
  const auto delivery = execute(deleteQuery());
  client->answer(0, 401);
  ticket->cancelTicket();
  expectReleasedUncalled(*delivery);
  EXPECT_TRUE(client->wasCancelled(1));
}

TEST_F(DriveCancellation, DuringParsingReleasesTheHandlerAtOnce) {
  std::shared_ptr<Delivery> delivery;
  bool releasedAtOnce = false;
  service = std::make_shared<RESTDriveService>(client, std::make_shared<InterruptedParser>([&] {
                                                 ticket->cancelTicket();
                                                 releasedAtOnce = delivery->released;
                                               }),
                                               queue);
  service->setAuthorizer(session);
  delivery = execute(listQuery());
  client->answer(0, 200, R"({"files":[]})");
  EXPECT_TRUE(releasedAtOnce);
  expectReleasedUncalled(*delivery);
}

TEST_F(DriveCancellation, BeforeAPostedFailureReleasesTheHandlerAtOnce) {
  const auto delivery = execute(deleteQuery(""));
  ticket->cancelTicket();
  expectReleasedUncalled(*delivery);
  queue->runAll();
  EXPECT_EQ(delivery->calls, 0);
}

TEST_F(DriveCancellation, InsideTheHandlerDoesNothing) {
  int calls = 0;
  ticket = service->executeQuery(aboutQuery(), [&](const auto& own, GTLRObject, std::optional<NSError>) {
    ++calls;
    own->cancelTicket();
  });
  client->answer(0, 200, "{}");
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(client->wasCancelled(0));
}

TEST_F(DriveCancellation, AfterTheEndOrTwiceDoesNothing) {
  const auto delivery = execute(aboutQuery());
  client->answer(0, 200, "{}");
  ticket->cancelTicket();
  ticket->cancelTicket();
  EXPECT_EQ(delivery->calls, 1);
  const auto another = execute(aboutQuery());
  ticket->cancelTicket();
  ticket->cancelTicket();
  expectReleasedUncalled(*another);
}

TEST_F(DriveCancellation, SurvivesAHandlerThatHoldsTheLastReferenceToItsTicket) {
  auto holder = std::make_shared<std::shared_ptr<GTLRServiceTicket>>();
  *holder = service->executeQuery(aboutQuery(), [holder](const auto&, GTLRObject, std::optional<NSError>) {});
  auto* raw = holder->get();
  const std::weak_ptr<GTLRServiceTicket> watched = *holder;
  holder.reset();
  raw->cancelTicket();
  EXPECT_TRUE(watched.expired());
}

TEST_F(DriveCancellation, StopAllFetchersEndsRequestsInEveryPhase) {
  const auto exchanging = execute(listQuery());
  const auto posted = execute(deleteQuery(""));
  session->hold();
  const auto waiting = execute(aboutQuery());
  service->fetcherService().stopAllFetchers();
  expectReleasedUncalled(*exchanging);
  expectReleasedUncalled(*posted);
  expectReleasedUncalled(*waiting);
  EXPECT_TRUE(client->wasCancelled(0));
  EXPECT_EQ(session->waiting(), 0u);
  queue->runAll();
  EXPECT_EQ(posted->calls, 0);
}

TEST_F(DriveCancellation, TheServiceGoesOnAfterStopAllFetchers) {
  service->fetcherService().stopAllFetchers();
  const auto delivery = execute(aboutQuery());
  client->answer(0, 200, "{}");
  EXPECT_EQ(delivery->calls, 1);
}

TEST_F(DriveCancellation, StopAllFetchersMayReleaseAHandlerThatUsesTheServiceAgain) {
  std::shared_ptr<void> atRelease(nullptr, [this](void*) {
    service->fetcherService().stopAllFetchers();
    ticket = service->executeQuery(deleteQuery(), [](const auto&, GTLRObject, std::optional<NSError>) {});
  });
  auto first = service->executeQuery(
      aboutQuery(), [held = std::move(atRelease)](const auto&, GTLRObject, std::optional<NSError>) {});
  service->fetcherService().stopAllFetchers();
  EXPECT_EQ(client->sent(), 2u);
  EXPECT_FALSE(client->wasCancelled(1));
}

TEST_F(DriveCancellation, ResetSessionResetsTheClientAlone) {
  const auto delivery = execute(aboutQuery());
  service->fetcherService().resetSession();
  EXPECT_EQ(client->resets(), 1);
  EXPECT_FALSE(delivery->released);
}

TEST_F(DriveCancellation, TheEndOfTheServiceEndsItsRequestsAndItsClient) {
  const auto exchanging = execute(listQuery());
  session->hold();
  const auto waiting = execute(aboutQuery());
  const std::weak_ptr<HTTPClient> watched = client;
  client.reset();
  service.reset();
  expectReleasedUncalled(*exchanging);
  expectReleasedUncalled(*waiting);
  EXPECT_TRUE(watched.expired());
  session->letGo();
  ticket->cancelTicket();
}

TEST_F(DriveCancellation, ATokenThatArrivesAfterTheEndOfTheServiceSendsNothing) {
  session->hold();
  const auto delivery = execute(aboutQuery());
  service.reset();
  session->letGo();
  queue->runAll();
  EXPECT_EQ(client->sent(), 0u);
  expectReleasedUncalled(*delivery);
}

}  // namespace
}  // namespace corvane::test
