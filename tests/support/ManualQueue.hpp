#pragma once

#include <CorvanePlatform/Queue.hpp>

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace corvane::test {

/// A queue that runs only when a test says so, with a clock that only a test moves.
class ManualQueue final : public Queue {
 public:
  ~ManualQueue() override { runAll(); }

  void async(Block block) override {
    const std::lock_guard guard(mutex_);
    blocks_.push_back(std::move(block));
  }

  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds delay, Block block) override {
    auto timer = std::make_shared<Timer>();
    timer->due = now_ + delay;
    timer->block = std::move(block);
    const std::lock_guard guard(mutex_);
    timers_.push_back(timer);
    delays_.push_back(delay);
    return timer;
  }

  /// Runs one block; false when there is none.
  bool runOne() {
    Block block;
    {
      const std::lock_guard guard(mutex_);
      if (blocks_.empty()) return false;
      block = std::move(blocks_.front());
      blocks_.pop_front();
    }
    block();
    return true;
  }

  /// Runs blocks until there is none, but no timers.
  void runAll() {
    while (runOne()) {
    }
  }

  /// Moves the clock and runs what is due, in order of time, and whatever that posts.
  void advance(std::chrono::microseconds by) {
    const auto target = now_ + by;
    runAll();
    while (auto timer = takeDue(target)) {
      now_ = timer->due;
      if (timer->block) std::exchange(timer->block, nullptr)();
      runAll();
    }
    now_ = target;
  }

  /// Moves the clock and runs what is due, but not what that posts.
  void fireTimers(std::chrono::microseconds by) {
    now_ += by;
    while (auto timer = takeDue(now_))
      if (timer->block) std::exchange(timer->block, nullptr)();
  }

  std::size_t pendingBlocks() const {
    const std::lock_guard guard(mutex_);
    return blocks_.size();
  }

  /// Timers neither run nor cancelled.
  std::size_t pendingTimers() const {
    const std::lock_guard guard(mutex_);
    std::size_t count = 0;
    for (const auto& timer : timers_) count += timer->block ? 1u : 0u;
    return count;
  }

  /// Every delay that was asked for, in order.
  std::vector<std::chrono::microseconds> delays() const {
    const std::lock_guard guard(mutex_);
    return delays_;
  }

 private:
  struct Timer final : Cancellable {
    void cancel() noexcept override { block = nullptr; }
    std::chrono::microseconds due{};
    Block block;
  };

  std::shared_ptr<Timer> takeDue(std::chrono::microseconds target) {
    const std::lock_guard guard(mutex_);
    auto earliest = timers_.end();
    for (auto it = timers_.begin(); it != timers_.end(); ++it)
      if ((*it)->due <= target && (earliest == timers_.end() || (*it)->due < (*earliest)->due)) earliest = it;
    if (earliest == timers_.end()) return nullptr;
    auto timer = *earliest;
    timers_.erase(earliest);
    return timer;
  }

  mutable std::mutex mutex_;
  std::deque<Block> blocks_;
  std::vector<std::shared_ptr<Timer>> timers_;
  std::vector<std::chrono::microseconds> delays_;
  std::chrono::microseconds now_{};
};

}  // namespace corvane::test
