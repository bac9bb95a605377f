#include <Corvane/Get.hpp>
#include <Corvane/GoogleDriveAPI.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <thread>
#include <vector>

#include "support/DriveSamples.hpp"
#include "support/FakePlatform.hpp"
#include "support/Race.hpp"
#include "support/ThreadQueue.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

constexpr int rounds = 2'000;

/// A Drive API object on real threads, over a service that the test answers.
struct ThreadedDrive {
  ThreadedDrive() {
    Platform platform = fake.platform();
    platform.userInitiatedQueue = queue.handle();
    api = std::make_shared<GoogleDriveAPI>(GoogleDriveAccountModel("ada@example.com"), nullptr,
                                           std::move(platform), [this] {
                                             ++builds;
                                             return service;
                                           });
  }

  ~ThreadedDrive() {
    api.reset();
    queue.finish();
  }

  void waitForRequests(std::size_t count) {
    while (service->requestCount() < count) std::this_thread::yield();
  }

  FakePlatform fake;
  ThreadQueue queue;
  std::shared_ptr<FakeDriveService> service = std::make_shared<FakeDriveService>();
  std::atomic<int> builds{0};
  std::shared_ptr<GoogleDriveAPI> api;
};

}  // namespace

TEST(DriveRace, FirstOperationsAtOnceBuildOneService) {
  for (int round = 0; round < 200; ++round) {
    ThreadedDrive drive;
    auto about = toFuture(drive.api->getAbout());
    auto page = toFuture(drive.api->getFilesPage(std::nullopt));
    drive.waitForRequests(2);
    EXPECT_EQ(drive.builds, 1);
    drive.api.reset();
    EXPECT_EQ(about.get().error().code(), -999);
    EXPECT_EQ(page.get().error().code(), -999);
  }
}

TEST(DriveRace, AnAnswerAgainstCancelTellsOnceOrNothing) {
  ThreadedDrive drive;
  Race race;
  const int most = raceRounds(100'000);
  std::deque<std::atomic<int>> completions;
  for (int round = 0; round < most; ++round) {
    auto& told = completions.emplace_back(0);
    const auto subscription =
        drive.api->getAbout().sink([&told](const auto&) { ++told; }, [](const About&) {});
    drive.waitForRequests(1);
    race.run([&] { subscription.cancel(); }, [&] { drive.service->answer(0, aboutObject()); });
    drive.service->forgetRequests();
  }
  drive.queue.finish();  // an answer is told by a block of the queue, which may still wait
  EXPECT_TRUE(std::ranges::all_of(completions, [](const auto& told) { return told <= 1; }));
}

TEST(DriveRace, AnAnswerAgainstDroppingTheObjectAlwaysEnds) {
  Race race;
  for (int round = 0; round < 500; ++round) {
    ThreadedDrive drive;
    auto about = toFuture(drive.api->getAbout());
    drive.waitForRequests(1);
    race.run([&] { drive.api.reset(); }, [&] { drive.service->answer(0, aboutObject()); });
    const auto result = about.get();
    EXPECT_TRUE(result || result.error().code() == -999);
  }
}

TEST(DriveRace, ARetryAgainstDroppingTheObjectAlwaysEndsWithTheLastErrorOrCancelled) {
  Race race;
  for (int round = 0; round < 500; ++round) {
    ThreadedDrive drive;
    auto about = toFuture(drive.api->getAbout());
    drive.waitForRequests(1);
    race.run([&] { drive.api.reset(); }, [&] { drive.service->fail(0, driveError(503)); });
    const auto code = about.get().error().code();
    EXPECT_TRUE(code == 503 || code == -999) << code;
  }
}

TEST(DriveRace, SubscribingAgainstCancellingNeverLeavesARequestBehind) {
  ThreadedDrive drive;
  for (int round = 0; round < rounds; ++round) {
    const auto subscription = drive.api->getAbout().sink([](const auto&) {}, [](const About&) {});
    subscription.cancel();
  }
  drive.queue.finish();
  for (const auto& request : drive.service->requests()) EXPECT_FALSE(request.ticket->takeHandler());
}
