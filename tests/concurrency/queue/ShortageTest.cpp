// Queues without descriptors, without threads, and in a process that fork(2) has left without any.
#include "OwnProcess.hpp"
#include "asio/AsioQueues.hpp"
#include "support/ForkedChild.hpp"
#include "support/NoNewThreads.hpp"
#include "support/Race.hpp"
#include "support/Threads.hpp"
#include "unit/adapters/oauth/DescriptorLimit.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <future>
#include <latch>
#include <memory>
#include <optional>

namespace corvane {
namespace {

using namespace std::chrono_literals;

using test::DescriptorLimit;
using test::eventually;
using test::NoNewThreads;

constexpr std::chrono::seconds generously{60};

template <class Work>
std::optional<AnyError> errorOf(Work work) {
  try {
    work();
  } catch (const AnyError& error) {
    return error;
  }
  return std::nullopt;
}

// Whether the queue runs a block and a timer's block.
bool works(Queue& queue) {
  auto ran = std::make_shared<std::promise<void>>();
  queue.async([ran] { ran->set_value(); });
  auto fired = std::make_shared<std::promise<void>>();
  const auto timer = queue.asyncAfter(1ms, [fired] { fired->set_value(); });
  return ran->get_future().wait_for(generously) == std::future_status::ready &&
         fired->get_future().wait_for(generously) == std::future_status::ready;
}

TEST(LinuxQueues, NoDescriptorIsNeededForBlocksAndTimers) {
  if (test::sanitizersNeedDescriptors) GTEST_SKIP() << "the sanitizers need descriptors themselves";
  const DescriptorLimit none(0);
  const LinuxQueues queues = makeLinuxQueues();
  EXPECT_TRUE(works(*queues.taskPool));
}

TEST(LinuxQueues, NoDescriptorIsNeededToHelpBlockedWorkers) {
  if (test::sanitizersNeedDescriptors) GTEST_SKIP() << "the sanitizers need descriptors themselves";
  const DescriptorLimit none(0);
  LinuxQueues queues = makeLinuxQueues();
  auto last = std::make_shared<std::promise<void>>();
  const auto lastRan = last->get_future().share();
  for (int i = 0; i < 8; ++i) queues.userInitiated->async([lastRan] { lastRan.wait(); });
  queues.userInitiated->async([last] { last->set_value(); });
  EXPECT_EQ(lastRan.wait_for(generously), std::future_status::ready);
  queues = {};
}

TEST(LinuxQueues, APostThatCannotStartAThreadFailsAndALaterOneWorks) {
  const LinuxQueues queues = makeLinuxQueues();
  std::optional<AnyError> posted;
  std::optional<AnyError> delayed;
  {
    const NoNewThreads none;
    posted = errorOf([&] { queues.taskPool->async([] { ADD_FAILURE() << "was refused"; }); });
    delayed = errorOf(
        [&] { (void)queues.taskPool->asyncAfter(1ms, [] { ADD_FAILURE() << "was refused"; }); });
  }
  ASSERT_TRUE(posted && delayed);
  for (const AnyError& error : {*posted, *delayed}) {
    EXPECT_EQ(error.domain(), "NSPOSIXErrorDomain");
    EXPECT_EQ(error.code(), EAGAIN);
    EXPECT_EQ(
        error.localizedDescription(),
        "Google Drive cannot be used now: the system has no thread for it (Resource temporarily "
        "unavailable).");
  }
  EXPECT_TRUE(works(*queues.taskPool));
}

TEST(LinuxQueues, WithoutFurtherThreadsTheOnesThatAreThereServe) {
  const LinuxQueues queues = makeLinuxQueues();
  ASSERT_TRUE(works(*queues.taskPool));
  const NoNewThreads none;
  EXPECT_TRUE(works(*queues.taskPool));
}

TEST(LinuxQueues, ABlockThatWaitedForWantOfThreadsRunsWhenThereAreSome) {
  QueueTuning tuning;
  tuning.patience = 1ms;
  LinuxQueues queues = makeLinuxQueues(tuning);
  std::promise<void> release;
  std::promise<void> ran;
  std::latch busy(2);
  {
    queues.taskPool->async([&busy, go = release.get_future().share()] {
      busy.arrive_and_wait();
      go.wait();
    });
    busy.arrive_and_wait();
    const NoNewThreads none;
    queues.taskPool->async([&ran] { ran.set_value(); });
    const auto tried = std::chrono::steady_clock::now() + 10ms;
    EXPECT_TRUE(eventually([&] { return std::chrono::steady_clock::now() > tried; }));
  }
  EXPECT_EQ(ran.get_future().wait_for(generously), std::future_status::ready);
  release.set_value();
  queues = {};
}

TEST(LinuxQueues, AfterForkAPostFailsSayingSo) {
  const LinuxQueues queues = makeLinuxQueues();
  ASSERT_TRUE(works(*queues.taskPool));
  EXPECT_TRUE(test::holdsInForkedChild([&] {
    const auto posted = errorOf([&] { queues.taskPool->async([] {}); });
    const auto delayed = errorOf([&] { (void)queues.taskPool->asyncAfter(1ms, [] {}); });
    return posted && posted->as<ForkedProcessError>() && delayed &&
           delayed->as<ForkedProcessError>();
  }));
  EXPECT_TRUE(works(*queues.taskPool)) << "nothing has changed for the parent";
}

TEST(LinuxQueues, AfterForkTheyAreDroppedWithoutWaiting) {
  LinuxQueues queues = makeLinuxQueues();
  ASSERT_TRUE(works(*queues.taskPool));
  auto timer = queues.taskPool->asyncAfter(24h, [] {});
  EXPECT_TRUE(test::holdsInForkedChild([&] {
    timer->cancel();
    queues = {};
    return true;
  }));
}

TEST(LinuxQueues, AfterForkNewOnesAndUnusedOnesWork) {
  if (test::raceRoundsDividedBy != 1)
    GTEST_SKIP() << "ThreadSanitizer starts no threads after fork";
  const LinuxQueues used = makeLinuxQueues();
  const LinuxQueues unused = makeLinuxQueues();
  ASSERT_TRUE(works(*used.taskPool));
  EXPECT_TRUE(test::holdsInForkedChild([&] {
    const LinuxQueues fresh = makeLinuxQueues();
    return works(*fresh.taskPool) && works(*unused.taskPool);
  }));
}

}  // namespace
}  // namespace corvane
