#include "DriveFixture.hpp"

namespace corvane::test {
namespace {

using emulator::Fault;
using emulator::Gate;

/// Requests that the server holds back in the middle of their answer.
class HeldDriveRequest : public DriveFixture {
 protected:
  std::shared_ptr<Delivery> beginHeld() {
    gate = std::make_shared<Gate>();
    Fault held = Fault::held(gate);
    held.gateAfter = 1'000;
    google.faults().add("files.list", held);
    auto delivery = begin(listQuery());
    EXPECT_TRUE(gate->waitUntilReached());
    return delivery;
  }

  std::shared_ptr<Gate> gate;
};

TEST_F(HeldDriveRequest, CancelledReleasesItsHandlerBeforeCancelReturns) {
  const auto delivery = beginHeld();
  ticket->cancelTicket();
  EXPECT_TRUE(delivery->isReleased());
  EXPECT_FALSE(delivery->outcome());
  gate->open();
  EXPECT_FALSE(run(aboutQuery()).error);
}

TEST_F(HeldDriveRequest, EndsWithStopAllFetchers) {
  const auto delivery = beginHeld();
  service->fetcherService().stopAllFetchers();
  EXPECT_TRUE(delivery->isReleased());
  EXPECT_FALSE(delivery->outcome());
  EXPECT_FALSE(run(aboutQuery()).error) << "the service goes on";
}

TEST_F(HeldDriveRequest, EndsWithItsService) {
  const auto delivery = beginHeld();
  service.reset();
  EXPECT_TRUE(delivery->isReleased());
  EXPECT_FALSE(delivery->outcome());
  ticket->cancelTicket();
}

TEST_F(HeldDriveRequest, ArrivesWholeOnceTheServerGoesOn) {
  const auto delivery = beginHeld();
  gate->open();
  const auto outcome = delivery->outcome();
  ASSERT_TRUE(outcome && std::holds_alternative<GTLRDrive_FileList>(outcome->object));
  EXPECT_EQ(std::get<GTLRDrive_FileList>(outcome->object).files->size(), 500u);
}

TEST_F(HeldDriveRequest, DoesNotEndWithAResetOfTheSession) {
  const auto delivery = beginHeld();
  service->fetcherService().resetSession();
  EXPECT_FALSE(delivery->isReleased());
  gate->open();
  EXPECT_TRUE(delivery->outcome());
  EXPECT_FALSE(run(aboutQuery()).error);
}

TEST_F(HeldDriveRequest, OfOneServiceIsUndisturbedByAnothersStop) {
  const auto delivery = beginHeld();
  const auto other = makeService();
  other->fetcherService().stopAllFetchers();
  other->fetcherService().resetSession();
  gate->open();
  EXPECT_TRUE(delivery->outcome());
}

}  // namespace
}  // namespace corvane::test
