#include "FlowFixture.hpp"

#include <atomic>
#include <future>

namespace corvane::test {
namespace {

using emulator::Fault;
using emulator::Gate;

TEST_F(FlowTest, DroppingTheApiObjectEndsItsRunningRequest) {
  auto factory = makeFactory();
  auto drive = factory.makeAPI(signIn(factory));
  get(drive->getAbout());
  const auto gate = std::make_shared<Gate>();
  google.faults().add("about", Fault::held(gate));
  const auto before = google.journal().count();

  auto running = toFuture(drive->getAbout());
  ASSERT_TRUE(google.journal().waitForCount(before + 1));
  drive.reset();
  const auto result = running.get();
  ASSERT_FALSE(result.isSuccess());
  EXPECT_EQ(result.error().domain(), NSURLErrorDomain);
  EXPECT_EQ(result.error().code(), -999);
  google.faults().releaseHeld();
}

TEST_F(FlowTest, CancelledRequestStaysSilentAndLeavesTheObjectUsable) {
  auto factory = makeFactory();
  const auto drive = factory.makeAPI(signIn(factory));
  get(drive->getAbout());
  const auto gate = std::make_shared<Gate>();
  google.faults().add("about", Fault::held(gate));
  const auto before = google.journal().count();

  std::atomic<int> calls{0};
  auto subscription = drive->getAbout().sink([&calls](const Completion<AnyError>&) { ++calls; },
                                             [&calls](const About&) { ++calls; });
  ASSERT_TRUE(google.journal().waitForCount(before + 1));
  subscription.cancel();
  google.faults().releaseHeld();
  EXPECT_FALSE(failureOf([&] { get(drive->getAbout()); }));
  EXPECT_EQ(calls, 0);
}

TEST_F(FlowTest, EverythingOutlivesTheFactory) {
  std::shared_ptr<GoogleDriveAPIType> drive;
  std::shared_ptr<GoogleDriveAccountProviderType> accounts;
  {
    auto factory = makeFactory();
    accounts = factory.makeAccountProvider();
    drive = factory.makeAPI(signIn(factory));
  }
  EXPECT_EQ(get(accounts->getAccounts()).size(), 1u);
  EXPECT_EQ(everyFile(*drive).size(), adasFiles);
}

TEST_F(FlowTest, HostMayDropEverythingInsideACallback) {
  std::unique_ptr<CorvaneFactory> factory(new CorvaneFactory(makeFactory()));
  auto drive = factory->makeAPI(signIn(*factory));
  impatient.reset();
  std::promise<void> done;
  auto subscription = drive->getAbout().sink(
      [&](const Completion<AnyError>& completion) {
        EXPECT_TRUE(completion.isFinished());
        drive.reset();
        factory.reset();
        done.set_value();
      },
      [](const About&) {});
  done.get_future().wait();
}

}  // namespace
}  // namespace corvane::test
