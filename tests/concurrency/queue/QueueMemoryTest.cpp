#include "asio/AsioQueues.hpp"
#include "support/FailingAllocations.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <utility>

namespace corvane {
namespace {

using namespace std::chrono_literals;

using test::FailingAllocations;

constexpr std::chrono::seconds generously{60};

TEST(LinuxQueuesWithoutMemory, APostFailsAndDropsItsBlockAndALaterOneWorks) {
  LinuxQueues queues = makeLinuxQueues();
  std::promise<void> ran;
  int failures = 0;
  for (bool failed = true; failed; ++failures) {
    auto held = std::make_shared<int>();
    const std::weak_ptr<int> watched = held;
    Block block = [&ran, held = std::move(held)] { ran.set_value(); };
    const FailingAllocations rest(failures);
    try {
      queues.taskPool->async(std::move(block));
      failed = false;
    } catch (const std::bad_alloc&) {
      ASSERT_TRUE(watched.expired());
    }
  }
  EXPECT_GT(failures, 2);
  EXPECT_EQ(ran.get_future().wait_for(generously), std::future_status::ready);
}

TEST(LinuxQueuesWithoutMemory, ATimerFailsAndDropsItsBlockAndALaterOneWorks) {
  LinuxQueues queues = makeLinuxQueues();
  int failures = 0;
  std::promise<void> fired;
  for (bool failed = true; failed; ++failures) {
    auto held = std::make_shared<int>();
    const std::weak_ptr<int> watched = held;
    Block block = [&fired, held = std::move(held)] { fired.set_value(); };
    const FailingAllocations rest(failures);
    try {
      (void)queues.taskPool->asyncAfter(1us, std::move(block));
      failed = false;
    } catch (const std::bad_alloc&) {
      ASSERT_TRUE(watched.expired());
    }
  }
  EXPECT_GT(failures, 3);
  EXPECT_EQ(fired.get_future().wait_for(generously), std::future_status::ready);
}

}  // namespace
}  // namespace corvane
