#include "asio/PoolPlan.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

namespace corvane {

void PrintTo(const PoolPlan::Actions& actions, std::ostream* out) {
  if (actions.callWorker) *out << "call a worker; ";
  if (actions.addWorkers != 0) *out << "add " << actions.addWorkers << "; ";
  if (actions.countAbleToWork) *out << "ask the kernel; ";
  if (actions.lookAfter) *out << "look after " << actions.lookAfter->count() << " ms";
}

namespace {

using namespace std::chrono_literals;
using Actions = PoolPlan::Actions;
using Next = PoolPlan::Next;

constexpr int cores = 2;

constexpr QueueTuning tuning() {
  QueueTuning tuning;
  tuning.patience = 20ms;
  tuning.mostWorkers = 6;
  return tuning;
}

const Actions nothing;
const Actions callWorker{.callWorker = true};
const Actions askKernel{.countAbleToWork = true};

Actions lookAfter(PoolPlan::Delay delay) {
  return {.lookAfter = delay};
}
Actions add(int workers, PoolPlan::Delay nextLook) {
  return {.addWorkers = workers, .lookAfter = nextLook};
}

class PoolPlanTest : public ::testing::Test {
 protected:
  // So many workers, each of which runs a block.
  void occupy(int workers) {
    plan.started();
    plan.posted();
    EXPECT_EQ(plan.workerArrived(), Next::run);
    for (int i = 1; i < workers; ++i) addOne();
  }
  // Lets a block wait until a worker is added, which takes it.
  void addOne() {
    plan.posted();
    for (int looks = 0; looks < 10; ++looks) {
      auto actions = plan.lookIsDue();
      if (actions == askKernel) actions = plan.counted(0);
      if (actions.addWorkers == 1) break;
    }
    EXPECT_EQ(plan.workerArrived(), Next::run);
    EXPECT_EQ(plan.lookIsDue(), nothing);
  }

  PoolPlan plan{tuning(), cores};
};

TEST_F(PoolPlanTest, HasNoWorkerBeforeTheFirstBlock) {
  EXPECT_FALSE(plan.isStarted());
  plan.started();
  EXPECT_TRUE(plan.isStarted());
  EXPECT_TRUE(plan.isLastWorker());
}

TEST_F(PoolPlanTest, AWorkerRunsWhatWaitsAndThenRests) {
  plan.started();
  plan.posted();
  plan.posted();
  EXPECT_EQ(plan.workerArrived(), Next::run);
  EXPECT_EQ(plan.blockEnded(), Next::run);
  EXPECT_EQ(plan.blockEnded(), Next::rest);
}

TEST_F(PoolPlanTest, APostCallsAnIdleWorker) {
  plan.started();
  ASSERT_EQ(plan.workerArrived(), Next::rest);
  EXPECT_EQ(plan.posted(), callWorker);
  EXPECT_EQ(plan.workerArrived(), Next::run);
}

TEST_F(PoolPlanTest, APostWithAllWorkersBusyAsksForALookInAMillisecond) {
  occupy(1);
  EXPECT_EQ(plan.posted(), lookAfter(1ms));
}

TEST_F(PoolPlanTest, APostForTheFirstWorkerAsksForNoLook) {
  plan.started();
  EXPECT_EQ(plan.posted(), callWorker) << "the worker is on its way";
  EXPECT_EQ(plan.posted(), lookAfter(1ms));
}

TEST_F(PoolPlanTest, APostBeyondTheIdleWorkersAsksForALook) {
  plan.started();
  ASSERT_EQ(plan.workerArrived(), Next::rest);
  EXPECT_EQ(plan.posted(), callWorker);
  EXPECT_EQ(plan.posted(), lookAfter(1ms)) << "the idle worker has been called for the first block";
}

TEST_F(PoolPlanTest, FurtherPostsAskForNoSecondLook) {
  occupy(1);
  plan.posted();
  EXPECT_EQ(plan.posted(), nothing);
}

TEST_F(PoolPlanTest, ALookThatFindsNothingWaitingIsTheLast) {
  occupy(1);
  plan.posted();
  ASSERT_EQ(plan.blockEnded(), Next::run);
  EXPECT_EQ(plan.lookIsDue(), nothing);
  EXPECT_EQ(plan.posted(), lookAfter(1ms)) << "the next starved post begins anew";
}

TEST_F(PoolPlanTest, WorkThatHasWaitedGetsAWorkerUpToTheCores) {
  occupy(1);
  plan.posted();
  EXPECT_EQ(plan.lookIsDue(), add(1, 1ms));
  EXPECT_EQ(plan.workerArrived(), Next::run);
  plan.posted();
  EXPECT_EQ(plan.lookIsDue(), askKernel) << "as many as cores are there";
}

TEST_F(PoolPlanTest, AnAddedWorkerTakesTheBlockThatWaited) {
  occupy(1);
  plan.posted();
  ASSERT_EQ(plan.lookIsDue(), add(1, 1ms));
  EXPECT_EQ(plan.lookIsDue(), nothing) << "it is on its way";
  EXPECT_EQ(plan.workerArrived(), Next::run);
}

TEST_F(PoolPlanTest, BeyondTheCoresNoneIsAddedWhileBlocksEnd) {
  occupy(cores);
  plan.posted();
  for (int looks = 0; looks < 10; ++looks) {
    plan.posted();
    EXPECT_EQ(plan.blockEnded(), Next::run);
    EXPECT_EQ(plan.lookIsDue(), lookAfter(20ms));
  }
}

TEST_F(PoolPlanTest, BeyondTheCoresOneIsAddedOnTheSecondLookAtBlocked) {
  occupy(cores);
  plan.posted();
  ASSERT_EQ(plan.lookIsDue(), askKernel);
  EXPECT_EQ(plan.counted(0), lookAfter(20ms));
  ASSERT_EQ(plan.lookIsDue(), askKernel);
  EXPECT_EQ(plan.counted(0), add(1, 10ms));
}

TEST_F(PoolPlanTest, OneIsAddedAlsoWhileOneOfTheWorkersComputes) {
  occupy(cores);
  plan.posted();
  plan.lookIsDue();
  plan.counted(1);
  plan.lookIsDue();
  EXPECT_EQ(plan.counted(1), add(1, 10ms));
}

TEST_F(PoolPlanTest, WhileAllStayBlockedLooksComeSoonerAndEachAdds) {
  occupy(cores);
  for (int i = 0; i < 10; ++i) plan.posted();
  plan.lookIsDue();
  plan.counted(0);
  std::vector<Actions> answers;
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(plan.lookIsDue(), askKernel);
    answers.push_back(plan.counted(0));
    EXPECT_EQ(plan.workerArrived(), Next::run) << "the added worker blocks too";
  }
  EXPECT_EQ(answers, (std::vector<Actions>{add(1, 10ms), add(1, 5ms), add(1, 2ms), add(1, 1ms)}));
}

TEST_F(PoolPlanTest, ManyBlockedWorkersAreJoinedByAQuarterAtOnce) {
  QueueTuning many = tuning();
  many.mostWorkers = 100;
  plan = PoolPlan(many, 20);
  occupy(20);
  for (int i = 0; i < 50; ++i) plan.posted();
  plan.lookIsDue();
  plan.counted(0);
  plan.lookIsDue();
  EXPECT_EQ(plan.counted(0).addWorkers, 5);
}

TEST_F(PoolPlanTest, NoMoreAreAddedThanBlocksWait) {
  QueueTuning many = tuning();
  many.mostWorkers = 100;
  plan = PoolPlan(many, 20);
  occupy(20);
  plan.posted();
  plan.posted();
  plan.lookIsDue();
  plan.counted(0);
  plan.lookIsDue();
  EXPECT_EQ(plan.counted(0).addWorkers, 2);
}

TEST_F(PoolPlanTest, WhileWorkersComputeNoneIsAddedAndLooksGetRarer) {
  occupy(cores);
  plan.posted();
  std::vector<Actions> answers;
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(plan.lookIsDue(), askKernel);
    answers.push_back(plan.counted(cores));
  }
  EXPECT_EQ(answers, (std::vector<Actions>{lookAfter(40ms), lookAfter(80ms), lookAfter(160ms),
                                           lookAfter(320ms), lookAfter(320ms), lookAfter(320ms)}));
}

TEST_F(PoolPlanTest, ComputingWorkersThatGetBlockedAreLookedAtTwiceAgain) {
  occupy(cores);
  plan.posted();
  plan.lookIsDue();
  plan.counted(0);
  plan.lookIsDue();
  plan.counted(cores);
  plan.lookIsDue();
  EXPECT_EQ(plan.counted(0), lookAfter(20ms));
  plan.lookIsDue();
  EXPECT_EQ(plan.counted(0), add(1, 10ms));
}

TEST_F(PoolPlanTest, AtTheLimitTheKernelIsNotAskedAndLooksGetRarer) {
  occupy(tuning().mostWorkers);
  plan.posted();
  PoolPlan::Delay last = 0ms;
  for (int i = 0; i < 10; ++i) {
    const auto actions = plan.lookIsDue();
    ASSERT_EQ(actions, lookAfter(actions.lookAfter.value_or(0ms)));
    EXPECT_GE(*actions.lookAfter, last);
    last = *actions.lookAfter;
  }
  EXPECT_EQ(last, 320ms);
}

TEST_F(PoolPlanTest, AWorkerThatCouldNotBeAddedIsTriedAgainLater) {
  occupy(cores);
  plan.posted();
  plan.lookIsDue();
  plan.counted(0);
  plan.lookIsDue();
  ASSERT_EQ(plan.counted(0), add(1, 10ms));
  EXPECT_EQ(plan.notAdded(1), lookAfter(20ms));
  EXPECT_EQ(plan.lookIsDue(), askKernel);
  EXPECT_EQ(plan.counted(0), add(1, 10ms));
  EXPECT_EQ(plan.notAdded(1), lookAfter(20ms));
}

TEST_F(PoolPlanTest, AWorkerOfTheFirstThatCouldNotBeAddedIsTriedAgainLater) {
  occupy(1);
  plan.posted();
  ASSERT_EQ(plan.lookIsDue(), add(1, 1ms));
  EXPECT_EQ(plan.notAdded(1), lookAfter(40ms));
  EXPECT_EQ(plan.lookIsDue(), add(1, 1ms));
}

TEST_F(PoolPlanTest, AnEndedBlockEndsTheSearchForWorkers) {
  occupy(cores);
  plan.posted();
  plan.posted();
  plan.lookIsDue();
  plan.counted(0);
  plan.blockEnded();
  EXPECT_EQ(plan.lookIsDue(), lookAfter(20ms));
  plan.lookIsDue();
  EXPECT_EQ(plan.counted(0), lookAfter(20ms)) << "the first look again";
}

TEST_F(PoolPlanTest, WorkTakenWhileTheKernelIsAskedGetsNoWorker) {
  occupy(cores);
  plan.posted();
  plan.lookIsDue();
  plan.counted(0);
  ASSERT_EQ(plan.lookIsDue(), askKernel);
  ASSERT_EQ(plan.blockEnded(), Next::run);
  EXPECT_EQ(plan.counted(0).addWorkers, 0);
}

TEST_F(PoolPlanTest, AnIdleWorkerLeavesUnlessItIsTheLast) {
  occupy(2);
  ASSERT_EQ(plan.blockEnded(), Next::rest);
  ASSERT_EQ(plan.blockEnded(), Next::rest);
  EXPECT_EQ(plan.workerIdledLong(), Next::leave);
  EXPECT_TRUE(plan.isLastWorker());
  EXPECT_EQ(plan.workerIdledLong(), Next::rest);
}

TEST_F(PoolPlanTest, AnIdleWorkerWhoseTimeIsOverRunsWhatCameJustThen) {
  occupy(2);
  ASSERT_EQ(plan.blockEnded(), Next::rest);
  plan.posted();
  EXPECT_EQ(plan.workerIdledLong(), Next::run);
}

TEST_F(PoolPlanTest, ACalledWorkerThatFindsItsBlockTakenRestsAgain) {
  occupy(2);
  ASSERT_EQ(plan.blockEnded(), Next::rest);
  EXPECT_EQ(plan.posted(), callWorker);
  ASSERT_EQ(plan.blockEnded(), Next::run) << "the busy worker has ended its block";
  EXPECT_EQ(plan.workerArrived(), Next::rest);
  EXPECT_EQ(plan.posted(), callWorker);
}

TEST_F(PoolPlanTest, AfterTheEndWorkersRunWhatWaitsAndLeave) {
  occupy(1);
  plan.posted();
  plan.close();
  EXPECT_EQ(plan.blockEnded(), Next::run);
  EXPECT_EQ(plan.blockEnded(), Next::leave);
}

TEST_F(PoolPlanTest, AfterTheEndAlsoTheLastRestingWorkerLeaves) {
  plan.started();
  ASSERT_EQ(plan.workerArrived(), Next::rest);
  plan.close();
  EXPECT_EQ(plan.workerArrived(), Next::leave);
}

TEST_F(PoolPlanTest, AfterTheEndBlockedWorkersStillGetHelp) {
  occupy(cores);
  plan.posted();
  plan.close();
  plan.lookIsDue();
  plan.counted(0);
  plan.lookIsDue();
  EXPECT_EQ(plan.counted(0), add(1, 10ms));
}

TEST(PoolPlan, AddsNoneOfTheFirstBeyondASmallerLimit) {
  QueueTuning one = tuning();
  one.mostWorkers = 1;
  PoolPlan plan(one, 4);
  plan.started();
  plan.posted();
  plan.posted();
  EXPECT_EQ(plan.lookIsDue(), lookAfter(40ms));
}

}  // namespace
}  // namespace corvane
