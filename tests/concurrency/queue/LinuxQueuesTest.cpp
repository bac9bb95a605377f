#include "asio/AsioQueues.hpp"
#include "support/Threads.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <ctime>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <latch>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>

namespace corvane {
namespace {

using namespace std::chrono_literals;

using test::eventually;
using test::firstWorkers;
using test::threadsNamed;

constexpr std::chrono::seconds generously{60};

long queueThreads() {
  return threadsNamed({"corvane-worker", "corvane-clock"});
}

// Blocks that wait, from the first on, until the gate opens.
class Gate {
 public:
  Block block() {
    return [opened = opened_, this] {
      ++inside_;
      opened.wait();
    };
  }
  void open() { opening_.set_value(); }
  int inside() const { return inside_; }

 private:
  std::promise<void> opening_;
  std::shared_future<void> opened_ = opening_.get_future().share();
  std::atomic<int> inside_{0};
};

QueueTuning noMoreThanTheFirst() {
  QueueTuning tuning;
  tuning.patience = 1ms;
  tuning.mostWorkers = firstWorkers();
  return tuning;
}

// Has each of the first workers run a block at the same time.
void gatherAllWorkers(Queue& queue) {
  auto together = std::make_shared<std::latch>(firstWorkers() + 1);
  for (int i = 0; i < firstWorkers(); ++i) queue.async([together] { together->arrive_and_wait(); });
  together->arrive_and_wait();
}

// Gives other threads the time to do what they should not. Of queues of their own, as those of the test may all be
// blocked.
void letTimePass() {
  const LinuxQueues clock = makeLinuxQueues();
  auto over = std::make_shared<std::promise<void>>();
  const auto timer = clock.taskPool->asyncAfter(50ms, [over] { over->set_value(); });
  over->get_future().wait();
}

// A block that never waits for anything but a core, until released.
Block computing(const std::atomic<bool>& released) {
  return [&released] {
    while (!released) {
    }
  };
}

TEST(LinuxQueues, NoThreadStartsBeforeTheFirstBlock) {
  const LinuxQueues queues = makeLinuxQueues();
  EXPECT_EQ(queueThreads(), 0);
}

TEST(LinuxQueues, TheFirstBlockStartsOneWorker) {
  LinuxQueues queues = makeLinuxQueues();
  std::promise<long> threads;
  queues.taskPool->async([&threads] { threads.set_value(threadsNamed({"corvane-worker"})); });
  EXPECT_EQ(threads.get_future().get(), 1);
  queues = {};
}

TEST(LinuxQueues, BlocksThatWaitAreSharedByAsManyWorkersAsCores) {
  LinuxQueues queues = makeLinuxQueues(noMoreThanTheFirst());
  for (int round = 0; round < 50; ++round) gatherAllWorkers(*queues.userInitiated);
  queues = {};
}

TEST(LinuxQueues, ABlockRunsWhileSixtyFourOthersAreBlocked) {
  Gate gate;
  LinuxQueues queues = makeLinuxQueues();
  for (int i = 0; i < 64; ++i) queues.userInitiated->async(gate.block());
  auto answered = std::make_shared<std::promise<void>>();
  queues.taskPool->async([answered] { answered->set_value(); });
  EXPECT_EQ(answered->get_future().wait_for(generously), std::future_status::ready);
  EXPECT_EQ(gate.inside(), 64);
  gate.open();
  queues = {};
}

TEST(LinuxQueues, ATimerFiresWhileSixtyFourBlocksAreBlocked) {
  Gate gate;
  LinuxQueues queues = makeLinuxQueues();
  for (int i = 0; i < 64; ++i) queues.taskPool->async(gate.block());
  auto fired = std::make_shared<std::promise<void>>();
  const auto timer = queues.userInitiated->asyncAfter(1ms, [fired] { fired->set_value(); });
  EXPECT_EQ(fired->get_future().wait_for(generously), std::future_status::ready);
  gate.open();
  queues = {};
}

TEST(LinuxQueues, WhileDestroyedTheyRunWhatABlockedBlockWaitsFor) {
  LinuxQueues queues = makeLinuxQueues();
  auto last = std::make_shared<std::promise<void>>();
  const auto lastRan = last->get_future().share();
  for (int i = 0; i < 16; ++i) queues.userInitiated->async([lastRan] { lastRan.wait(); });
  queues.userInitiated->async([last] { last->set_value(); });
  queues = {};
  EXPECT_EQ(lastRan.wait_for(0s), std::future_status::ready);
}

TEST(LinuxQueues, WorkersStayWithinTheirLimit) {
  Gate gate;
  QueueTuning tuning;
  tuning.patience = 1ms;
  tuning.mostWorkers = 4;
  LinuxQueues queues = makeLinuxQueues(tuning);
  for (int i = 0; i < 8; ++i) queues.userInitiated->async(gate.block());
  ASSERT_TRUE(eventually([&] { return gate.inside() == 4; }));
  letTimePass();
  EXPECT_EQ(gate.inside(), 4);
  gate.open();
  queues = {};
}

TEST(LinuxQueues, WorkersStayWithinTheirLimitWhileQueuesAreDestroyed) {
  for (int round = 0; round < 10; ++round) {
    Gate gate;
    std::promise<void> go;
    std::promise<void> dropped;
    LinuxQueues queues = makeLinuxQueues(noMoreThanTheFirst());
    gatherAllWorkers(*queues.taskPool);
    queues.userInitiated->async(
        [&, queue = queues.taskPool, toldToGo = go.get_future().share(), blocked = gate.block()]() mutable {
          toldToGo.wait();
          for (int i = 0; i < 2 * firstWorkers(); ++i) queue->async(gate.block());
          queue.reset();
          dropped.set_value();
          blocked();
        });
    queues = {};
    go.set_value();
    dropped.get_future().wait();
    EXPECT_TRUE(eventually([&] { return gate.inside() == firstWorkers(); }));
    letTimePass();
    EXPECT_EQ(gate.inside(), firstWorkers());
    gate.open();
    EXPECT_TRUE(eventually([] { return queueThreads() == 0; }));
  }
}

TEST(LinuxQueues, ComputingWorkersGetNoHelp) {
  std::atomic<bool> released{false};
  std::atomic<bool> othersRan{false};
  QueueTuning tuning;
  tuning.patience = 1ms;
  LinuxQueues queues = makeLinuxQueues(tuning);
  for (int i = 0; i < firstWorkers(); ++i) queues.userInitiated->async(computing(released));
  queues.taskPool->async([&othersRan] { othersRan = true; });
  const LinuxQueues clock = makeLinuxQueues();
  auto over = std::make_shared<std::promise<void>>();
  const auto timer = clock.taskPool->asyncAfter(100ms, [over] { over->set_value(); });
  over->get_future().wait();
  EXPECT_FALSE(othersRan);
  released = true;
  queues = {};
  EXPECT_TRUE(othersRan);
}

TEST(LinuxQueues, BlockedWorkersGetHelpAlsoWhileOneComputes) {
  std::atomic<bool> released{false};
  Gate gate;
  LinuxQueues queues = makeLinuxQueues();
  queues.userInitiated->async(computing(released));
  for (int i = 0; i < 16; ++i) queues.userInitiated->async(gate.block());
  auto answered = std::make_shared<std::promise<void>>();
  queues.taskPool->async([answered] { answered->set_value(); });
  EXPECT_EQ(answered->get_future().wait_for(generously), std::future_status::ready);
  EXPECT_EQ(gate.inside(), 16);
  released = true;
  gate.open();
  queues = {};
}

TEST(LinuxQueues, IdleWorkersLeaveAllButOne) {
  Gate gate;
  QueueTuning tuning;
  tuning.patience = 1ms;
  tuning.idleBeforeLeaving = 1ms;
  LinuxQueues queues = makeLinuxQueues(tuning);
  for (int i = 0; i < 16; ++i) queues.userInitiated->async(gate.block());
  ASSERT_TRUE(eventually([&] { return gate.inside() == 16; }));
  EXPECT_GE(queueThreads(), 16);
  gate.open();
  EXPECT_TRUE(eventually([] { return queueThreads() == 1 + 1; })) << "a worker and the clock";

  auto answered = std::make_shared<std::promise<void>>();
  queues.taskPool->async([answered] { answered->set_value(); });
  EXPECT_EQ(answered->get_future().wait_for(generously), std::future_status::ready);
}

TEST(LinuxQueues, ABlockBehindABlockedWorkerIsRunByAnother) {
  LinuxQueues queues = makeLinuxQueues(noMoreThanTheFirst());
  for (int round = 0; round < 50; ++round) {
    gatherAllWorkers(*queues.taskPool);
    struct Meeting {
      std::promise<void> isBusy;
      std::promise<void> otherRan;
      std::promise<void> over;
    };
    const auto meeting = std::make_shared<Meeting>();
    queues.userInitiated->async([meeting] {
      meeting->isBusy.set_value();
      meeting->otherRan.get_future().wait();
      meeting->over.set_value();
    });
    meeting->isBusy.get_future().wait();
    queues.taskPool->async([meeting] { meeting->otherRan.set_value(); });
    ASSERT_EQ(meeting->over.get_future().wait_for(generously), std::future_status::ready);
  }
  queues = {};
}

TEST(LinuxQueues, IdleThreadsSleepAlsoAfterManyWereBlocked) {
  Gate gate;
  QueueTuning tuning;
  tuning.patience = 1ms;
  tuning.idleBeforeLeaving = 1ms;
  LinuxQueues queues = makeLinuxQueues(tuning);
  for (int i = 0; i < 16; ++i) queues.userInitiated->async(gate.block());
  ASSERT_TRUE(eventually([&] { return gate.inside() == 16; }));
  gate.open();
  ASSERT_TRUE(eventually([] { return queueThreads() == 1 + 1; }));
  const auto threads = test::idsOfThreadsNamed({"corvane-worker", "corvane-clock"});
  const auto sleeps = [&threads] {
    return std::accumulate(threads.begin(), threads.end(), 0L,
                           [](long sum, const auto& id) { return sum + test::sleepsOfThread(id); });
  };
  EXPECT_TRUE(eventually([&] {
    const long before = sleeps();
    letTimePass();
    return sleeps() == before;
  }));
}

TEST(LinuxQueues, NoThreadIsLeftBehind) {
  for (int round = 0; round < 50; ++round) {
    LinuxQueues queues = makeLinuxQueues();
    queues.taskPool->async([] {});
    queues = {};
    // The kernel lists a thread for a moment after whoever waited for its end goes on.
    ASSERT_TRUE(eventually([] { return queueThreads() == 0; }));
  }
}

TEST(LinuxQueues, TheirLastReferenceMayGoOnOneOfTheirWorkers) {
  for (int round = 0; round < 50; ++round) {
    auto queues = std::make_shared<LinuxQueues>(makeLinuxQueues());
    std::promise<void> released;
    auto later = std::make_shared<std::promise<void>>();
    auto laterRan = later->get_future();
    queues->userInitiated->async([queues, go = released.get_future().share(), later]() mutable {
      go.wait();
      queues->taskPool->async([later] { later->set_value(); });
      queues.reset();
    });
    queues.reset();
    released.set_value();
    EXPECT_EQ(laterRan.wait_for(generously), std::future_status::ready);
  }
  EXPECT_TRUE(eventually([] { return queueThreads() == 0; }));
}

TEST(LinuxQueues, ABlockMayPostThenDropThemAndWaitForWhatItPosted) {
  for (int round = 0; round < 50; ++round) {
    LinuxQueues queues = makeLinuxQueues(noMoreThanTheFirst());
    gatherAllWorkers(*queues.taskPool);
    std::promise<void> go;
    auto posted = std::make_shared<std::promise<void>>();
    auto over = std::make_shared<std::promise<void>>();
    queues.userInitiated->async(
        [queue = queues.taskPool, toldToGo = go.get_future().share(), posted, over]() mutable {
          toldToGo.wait();
          queue->async([posted] { posted->set_value(); });
          queue.reset();
          posted->get_future().wait();
          over->set_value();
        });
    queues = {};
    go.set_value();
    ASSERT_EQ(over->get_future().wait_for(generously), std::future_status::ready);
  }
  EXPECT_TRUE(eventually([] { return queueThreads() == 0; }));
}

TEST(LinuxQueues, TheirLastReferenceMayGoWithTheirOwnTimersBlock) {
  auto queues = std::make_shared<LinuxQueues>(makeLinuxQueues());
  const std::weak_ptr<LinuxQueues> watched = queues;
  const auto timer = queues->userInitiated->asyncAfter(1ms, [queues] {});
  queues.reset();
  EXPECT_TRUE(eventually([&] { return watched.expired() && queueThreads() == 0; }));
}

TEST(LinuxQueues, ATimerRunsOrIsDroppedOnceWhenCancelMeetsFiring) {
  constexpr int count = 2000;
  std::atomic<int> ran{0};
  std::atomic<int> dropped{0};
  LinuxQueues queues = makeLinuxQueues();
  struct Witness {
    std::atomic<int>& gone;
    ~Witness() { ++gone; }
  };
  std::vector<std::shared_ptr<Cancellable>> timers;
  for (int i = 0; i < count; ++i) {
    auto witness = std::make_unique<Witness>(dropped);
    timers.push_back(queues.taskPool->asyncAfter(std::chrono::microseconds(i % 300),
                                                 [&ran, witness = std::move(witness)] { ++ran; }));
  }
  std::thread other([&] {
    for (const auto& timer : timers) timer->cancel();
  });
  for (auto timer = timers.rbegin(); timer != timers.rend(); ++timer) (*timer)->cancel();
  other.join();
  queues = {};
  EXPECT_LE(ran, count);
  EXPECT_EQ(dropped, count);
}

TEST(LinuxQueues, EachBlockOfManyPostersRunsOnce) {
  constexpr int threads = 8;
  constexpr int each = 2000;
  std::atomic<int> ran{0};
  LinuxQueues queues = makeLinuxQueues();
  {
    std::latch start(threads);
    std::vector<std::jthread> posters;
    for (int i = 0; i < threads; ++i)
      posters.emplace_back([&] {
        start.arrive_and_wait();
        for (int j = 0; j < each; ++j) queues.userInitiated->async([&ran] { ++ran; });
      });
  }
  queues = {};
  EXPECT_EQ(ran, threads * each);
}

TEST(LinuxQueues, WorkersBlockTheHostsSignals) {
  LinuxQueues queues = makeLinuxQueues();
  std::promise<sigset_t> answer;
  queues.userInitiated->async([&answer] {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    answer.set_value(mask);
  });
  const sigset_t mask = answer.get_future().get();
  for (const int signal : {SIGINT, SIGTERM, SIGPIPE, SIGCHLD, SIGALRM, SIGUSR1})
    EXPECT_EQ(sigismember(&mask, signal), 1) << signal;
  EXPECT_EQ(sigismember(&mask, SIGSEGV), 0);
  sigset_t own;
  pthread_sigmask(SIG_SETMASK, nullptr, &own);
  EXPECT_EQ(sigismember(&own, SIGINT), 0);
}

TEST(LinuxQueues, IdleQueuesUseNoProcessorTime) {
  const auto processorTime = [] {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
  };
  LinuxQueues queues = makeLinuxQueues();
  auto warm = std::make_shared<std::promise<void>>();
  queues.taskPool->async([warm] { warm->set_value(); });
  warm->get_future().wait();
  const auto before = processorTime();
  auto over = std::make_shared<std::promise<void>>();
  const auto timer = queues.taskPool->asyncAfter(500ms, [over] { over->set_value(); });
  over->get_future().wait();
  EXPECT_LT(processorTime() - before, 100ms);
}

TEST(LinuxQueuesDeathTest, AnExceptionThatLeavesABlockEndsTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        LinuxQueues queues = makeLinuxQueues();
        queues.userInitiated->async([] { throw std::runtime_error("left a block"); });
        queues = {};
      },
      "left a block");
}

}  // namespace
}  // namespace corvane
