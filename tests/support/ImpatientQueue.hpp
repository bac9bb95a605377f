#pragma once

#include <CorvanePlatform/Queue.hpp>

#include <chrono>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace corvane::test {

/// A real queue whose timers fire at once; the delays that were asked for are kept.
class ImpatientQueue final : public Queue {
 public:
  explicit ImpatientQueue(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}

  void async(Block block) override { queue_->async(std::move(block)); }

  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds delay, Block block) override {
    {
      const std::lock_guard guard(mutex_);
      delays_.push_back(delay);
    }
    return queue_->asyncAfter(std::chrono::microseconds(0), std::move(block));
  }

  std::vector<std::chrono::microseconds> delays() const {
    const std::lock_guard guard(mutex_);
    return delays_;
  }

 private:
  std::shared_ptr<Queue> queue_;
  mutable std::mutex mutex_;
  std::vector<std::chrono::microseconds> delays_;
};

}  // namespace corvane::test
