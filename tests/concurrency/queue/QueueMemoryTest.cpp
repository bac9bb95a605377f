#include "asio/AsioQueues.hpp"
#include "support/FailingAllocations.hpp"
#include "support/Threads.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>

namespace corvane {
namespace {

using namespace std::chrono_literals;

using test::eventually;
using test::FailingAllocations;

constexpr std::chrono::seconds generously{60};

void waitForAMoment() {
  const LinuxQueues clock = makeLinuxQueues();
  auto over = std::make_shared<std::promise<void>>();
  const auto timer = clock.taskPool->asyncAfter(10ms, [over] { over->set_value(); });
  over->get_future().wait();
}

// Whether memory ran out over a post that meets a busy worker with the others at rest; the block runs in any case.
bool runsOutOverAPost(Queue& queue) {
  struct Meeting {
    std::promise<void> isBusy;
    std::promise<void> otherRan;
    std::promise<void> over;
  };
  const auto meeting = std::make_shared<Meeting>();
  queue.async([meeting] {
    meeting->isBusy.set_value();
    meeting->otherRan.get_future().wait();
    meeting->over.set_value();
  });
  meeting->isBusy.get_future().wait();
  waitForAMoment();  // for the supervisor to go to sleep, so that memory is needed to wake it
  Block block = [meeting] { meeting->otherRan.set_value(); };
  {
    const FailingAllocations allButOne(1);
    queue.async(std::move(block));
  }
  EXPECT_EQ(meeting->over.get_future().wait_for(generously), std::future_status::ready);
  return FailingAllocations::failures() > 0;
}

TEST(LinuxQueuesWithoutMemory, CallTheReserveWhenTheSupervisorCannotBeWoken) {
  LinuxQueues queues = makeLinuxQueues();
  EXPECT_TRUE(eventually([&] { return runsOutOverAPost(*queues.userInitiated); }));
  queues = {};
}

}  // namespace
}  // namespace corvane
