#pragma once

#include <CorvanePlatform/Queue.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <latch>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

// What every Queue promises. A `Subject` holds the `queue` and has `pass(duration)`, which lets that much time go by:
// nothing to do where time is real, a push of the clock where it is the test's.
namespace corvane::test {

inline constexpr std::chrono::seconds generously{60};

template <class Subject>
class QueueContract : public ::testing::Test {
 protected:
  void passTime(std::chrono::microseconds time) { subject->pass(time); }

  std::unique_ptr<Subject> subject = std::make_unique<Subject>();
};

TYPED_TEST_SUITE_P(QueueContract);

TYPED_TEST_P(QueueContract, RunsEachPostedBlockOnce) {
  constexpr int count = 1000;
  std::mutex mutex;
  std::vector<int> runs(count);
  std::latch done(count);
  for (int i = 0; i < count; ++i) {
    this->subject->queue->async([&, i] {
      {
        const std::lock_guard guard(mutex);
        ++runs[static_cast<std::size_t>(i)];
      }
      done.count_down();
    });
  }
  this->passTime({});
  done.wait();
  EXPECT_EQ(runs, std::vector<int>(count, 1));
}

TYPED_TEST_P(QueueContract, RunsABlockThatABlockPosts) {
  auto ran = std::make_shared<std::promise<void>>();
  auto& queue = *this->subject->queue;
  queue.async([&queue, ran] { queue.async([ran] { ran->set_value(); }); });
  this->passTime({});
  EXPECT_EQ(ran->get_future().wait_for(generously), std::future_status::ready);
}

TYPED_TEST_P(QueueContract, DropsABlockOnceItHasRun) {
  std::promise<void> dropped;
  std::shared_ptr<void> held(nullptr, [&dropped](void*) { dropped.set_value(); });
  this->subject->queue->async([held = std::move(held)] {});
  this->passTime({});
  EXPECT_EQ(dropped.get_future().wait_for(generously), std::future_status::ready);
}

TYPED_TEST_P(QueueContract, RunsATimersBlockAfterItsDelay) {
  using namespace std::chrono_literals;
  auto ran = std::make_shared<std::promise<void>>();
  const auto timer = this->subject->queue->asyncAfter(2ms, [ran] { ran->set_value(); });
  this->passTime(2ms);
  EXPECT_EQ(ran->get_future().wait_for(generously), std::future_status::ready);
}

TYPED_TEST_P(QueueContract, RunsTimersInTheOrderOfTheirTimesNotOfTheirPosting) {
  using namespace std::chrono_literals;
  auto later = std::make_shared<std::promise<void>>();
  auto sooner = std::make_shared<std::promise<void>>();
  auto soonerDone = sooner->get_future().share();
  const auto last = this->subject->queue->asyncAfter(24h, [later] { later->set_value(); });
  const auto first = this->subject->queue->asyncAfter(2ms, [sooner] { sooner->set_value(); });
  this->passTime(2ms);
  EXPECT_EQ(soonerDone.wait_for(generously), std::future_status::ready);
  EXPECT_EQ(later->get_future().wait_for(0s), std::future_status::timeout);
  last->cancel();
}

TYPED_TEST_P(QueueContract, RunsATimerWithoutDelayOrWithANegativeOne) {
  using namespace std::chrono_literals;
  auto none = std::make_shared<std::promise<void>>();
  auto negative = std::make_shared<std::promise<void>>();
  const auto first = this->subject->queue->asyncAfter(0us, [none] { none->set_value(); });
  const auto second = this->subject->queue->asyncAfter(-5ms, [negative] { negative->set_value(); });
  this->passTime({});
  EXPECT_EQ(none->get_future().wait_for(generously), std::future_status::ready);
  EXPECT_EQ(negative->get_future().wait_for(generously), std::future_status::ready);
}

TYPED_TEST_P(QueueContract, DropsACancelledTimersBlockAtOnce) {
  using namespace std::chrono_literals;
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  const auto timer = this->subject->queue->asyncAfter(24h, [held = std::move(held)] { ADD_FAILURE(); });
  EXPECT_FALSE(watched.expired());
  timer->cancel();
  EXPECT_TRUE(watched.expired());
  timer->cancel();
}

TYPED_TEST_P(QueueContract, NeverRunsACancelledTimer) {
  using namespace std::chrono_literals;
  for (bool cameInTime = false; !cameInTime;) {
    auto ran = std::make_shared<std::atomic<bool>>(false);
    auto held = std::make_shared<int>();
    const std::weak_ptr<int> watched = held;
    const auto cancelled =
        this->subject->queue->asyncAfter(1ms, [ran, held = std::move(held)] { *ran = true; });
    cancelled->cancel();
    cameInTime = watched.expired() && !*ran;  // on a busy machine a millisecond may pass meanwhile

    auto later = std::make_shared<std::promise<void>>();
    const auto timer = this->subject->queue->asyncAfter(3ms, [later] { later->set_value(); });
    this->passTime(3ms);
    EXPECT_EQ(later->get_future().wait_for(generously), std::future_status::ready);
    if (cameInTime) {
      EXPECT_FALSE(*ran);
    }
  }
}

TYPED_TEST_P(QueueContract, RunsATimerWhoseHandleWasDropped) {
  using namespace std::chrono_literals;
  auto ran = std::make_shared<std::promise<void>>();
  (void)this->subject->queue->asyncAfter(2ms, [ran] { ran->set_value(); });
  this->passTime(2ms);
  EXPECT_EQ(ran->get_future().wait_for(generously), std::future_status::ready);
}

TYPED_TEST_P(QueueContract, TakesACancelAfterTheRunCalmly) {
  using namespace std::chrono_literals;
  auto ran = std::make_shared<std::promise<void>>();
  const auto timer = this->subject->queue->asyncAfter(1ms, [ran] { ran->set_value(); });
  this->passTime(1ms);
  ASSERT_EQ(ran->get_future().wait_for(generously), std::future_status::ready);
  timer->cancel();
}

TYPED_TEST_P(QueueContract, TakesACancelAfterItsOwnEndCalmly) {
  using namespace std::chrono_literals;
  const auto timer = this->subject->queue->asyncAfter(24h, [] { ADD_FAILURE(); });
  this->subject.reset();
  timer->cancel();
}

TYPED_TEST_P(QueueContract, RunsWhatItAcceptedWhileItIsDestroyed) {
  constexpr int count = 500;
  std::atomic<int> runs{0};
  for (int i = 0; i < count; ++i) this->subject->queue->async([&runs] { ++runs; });
  this->subject.reset();
  EXPECT_EQ(runs, count);
}

TYPED_TEST_P(QueueContract, DropsPendingTimersWhenItIsDestroyed) {
  using namespace std::chrono_literals;
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  (void)this->subject->queue->asyncAfter(24h, [held = std::move(held)] { ADD_FAILURE(); });
  this->subject.reset();
  EXPECT_TRUE(watched.expired());
}

REGISTER_TYPED_TEST_SUITE_P(QueueContract, RunsEachPostedBlockOnce, RunsABlockThatABlockPosts,
                            DropsABlockOnceItHasRun, RunsATimersBlockAfterItsDelay,
                            RunsTimersInTheOrderOfTheirTimesNotOfTheirPosting,
                            RunsATimerWithoutDelayOrWithANegativeOne, DropsACancelledTimersBlockAtOnce,
                            NeverRunsACancelledTimer, RunsATimerWhoseHandleWasDropped,
                            TakesACancelAfterTheRunCalmly, TakesACancelAfterItsOwnEndCalmly,
                            RunsWhatItAcceptedWhileItIsDestroyed, DropsPendingTimersWhenItIsDestroyed);

}  // namespace corvane::test
