#include "GoogleDriveAPI/BuildTurns.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/ManualQueue.hpp"
#include "support/Race.hpp"
#include "support/ThreadQueue.hpp"

namespace corvane {
namespace {

using test::ManualQueue;
using testing::ElementsAre;

class RefusingQueue final : public Queue {
 public:
  void async(Block) override { throw std::bad_alloc(); }
  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds, Block) override {
    throw std::bad_alloc();
  }
};

class BuildTurnsTest : public testing::Test {
 protected:
  void TearDown() override {
    if (turn_) end(true);
    queue->runAll();
  }

  // Work that keeps its turn and notes its name when it is run.
  BuildTurns::Work named(const std::string& name) {
    return [this, name](BuildTurns::Turn turn) {
      ran.push_back(name);
      turn_.emplace(std::move(turn));
    };
  }
  void take(const std::string& name) { turns->take(queue, named(name)); }
  void end(bool isBuilt) {
    BuildTurns::Turn turn = std::move(*turn_);
    turn_.reset();
    turn.end(isBuilt);
  }

  std::shared_ptr<ManualQueue> queue = std::make_shared<ManualQueue>();
  std::shared_ptr<BuildTurns> turns = std::make_shared<BuildTurns>();
  std::vector<std::string> ran;

 private:
  std::optional<BuildTurns::Turn> turn_;
};

TEST_F(BuildTurnsTest, TheFirstRunsAtOnceAndTheNextWaits) {
  take("first");
  take("second");
  queue->runAll();
  EXPECT_THAT(ran, ElementsAre("first"));
}

TEST_F(BuildTurnsTest, AfterAFailedBuildTheOldestGetsTheTurnOnItsQueue) {
  for (const char* name : {"first", "second", "third"}) take(name);
  end(false);
  EXPECT_THAT(ran, ElementsAre("first")) << "not on the thread that has built";
  queue->runAll();
  EXPECT_THAT(ran, ElementsAre("first", "second"));
  take("fourth");
  end(false);
  queue->runAll();
  end(false);
  queue->runAll();
  EXPECT_THAT(ran, ElementsAre("first", "second", "third", "fourth"));
}

TEST_F(BuildTurnsTest, AfterABuildAllGoOnAndNoTurnIsNeeded) {
  for (const char* name : {"first", "second", "third"}) take(name);
  EXPECT_FALSE(turns->areOver());
  end(true);
  EXPECT_TRUE(turns->areOver());
  queue->runAll();
  take("fourth");
  EXPECT_THAT(ran, ElementsAre("first", "second", "third", "fourth"));
}

TEST_F(BuildTurnsTest, ABuildAfterAFailureReleasesEarlierAndLaterOnesInOrder) {
  for (const char* name : {"first", "second", "third"}) take(name);
  end(false);
  queue->runAll();
  take("fourth");
  end(true);
  queue->runAll();
  EXPECT_THAT(ran, ElementsAre("first", "second", "third", "fourth"));
}

TEST_F(BuildTurnsTest, AfterAFailureThatNobodyWaitedForTheNextRunsAtOnce) {
  take("first");
  end(false);
  take("second");
  EXPECT_THAT(ran, ElementsAre("first", "second"));
}

TEST_F(BuildTurnsTest, ADroppedTurnPassesOn) {
  turns->take(queue, [](const BuildTurns::Turn&) {});
  take("second");
  EXPECT_THAT(ran, ElementsAre("second"));
}

TEST_F(BuildTurnsTest, WhatTheQueueRefusesRunsOnTheThreadThatEndsTheTurn) {
  const auto refusing = std::make_shared<RefusingQueue>();
  take("first");
  std::vector<std::string> refused;
  for (const char* name : {"second", "third"})
    turns->take(refusing,
                [&refused, name](const BuildTurns::Turn&) { refused.emplace_back(name); });
  take("fourth");
  end(false);
  EXPECT_THAT(refused, ElementsAre("second", "third"));
  queue->runAll();
  EXPECT_THAT(ran, ElementsAre("first", "fourth"))
      << "the turn went to the next that could be posted";
}

TEST(BuildTurns, ManyThreadsBuildOneAtATimeAndEachRunsOnce) {
  constexpr int threads = 4;
  const int each = test::raceRounds(2'000);
  for (const bool succeedsAtLast : {false, true}) {
    const auto turns = std::make_shared<BuildTurns>();
    std::atomic<int> inside{0};
    std::atomic<int> ran{0};
    std::atomic<bool> overlapped{false};
    {
      test::ThreadQueue pool(threads);
      std::latch start(threads);
      const auto queue = pool.handle();
      const auto work = [&](BuildTurns::Turn turn) {
        if (!turns->areOver() && ++inside > 1) overlapped = true;
        const bool isBuilt = ++ran == threads * each / 2 && succeedsAtLast;
        if (!turns->areOver()) --inside;
        turn.end(isBuilt);
      };
      for (int i = 0; i < threads; ++i)
        queue->async([&] {
          start.arrive_and_wait();
          for (int j = 0; j < each; ++j) turns->take(queue, work);
        });
      // The queue runs what is posted while it ends, and what that posts.
      while (ran < threads * each) std::this_thread::yield();
    }
    EXPECT_EQ(ran, threads * each);
    EXPECT_FALSE(overlapped);
    EXPECT_EQ(turns->areOver(), succeedsAtLast);
  }
}

}  // namespace
}  // namespace corvane
