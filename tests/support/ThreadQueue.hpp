#pragma once

#include <CorvanePlatform/Queue.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace corvane::test {

/// A queue on real threads, for tests of races. Delays are over at once, but can be cancelled all the same.
///
/// Whoever is given a `handle` does not own it: a block must not be the last to drop the threads it runs on.
class ThreadQueue final : public Queue {
 public:
  explicit ThreadQueue(int threads = 2) {
    for (int i = 0; i < threads; ++i) threads_.emplace_back([this] { work(); });
  }
  ~ThreadQueue() override { finish(); }

  std::shared_ptr<Queue> handle() { return {std::shared_ptr<void>(), this}; }

  /// Runs what is left and ends the threads.
  void finish() {
    {
      const std::lock_guard guard(mutex_);
      closing_ = true;
    }
    changed_.notify_all();
    for (auto& thread : threads_) thread.join();
    threads_.clear();
  }

  void async(Block block) override {
    {
      const std::lock_guard guard(mutex_);
      blocks_.push_back(std::move(block));
    }
    changed_.notify_one();
  }

  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds, Block block) override {
    auto timer = std::make_shared<Timer>();
    async([timer, block = std::move(block)] {
      if (!timer->cancelled) block();
    });
    return timer;
  }

 private:
  struct Timer final : Cancellable {
    void cancel() noexcept override { cancelled = true; }
    std::atomic<bool> cancelled{false};
  };

  void work() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return closing_ || !blocks_.empty(); });
      if (blocks_.empty()) return;
      {
        const Block block = std::move(blocks_.front());
        blocks_.pop_front();
        lock.unlock();
        block();
      }
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Block> blocks_;
  bool closing_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace corvane::test
