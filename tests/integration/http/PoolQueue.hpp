#pragma once

#include <CorvanePlatform/Queue.hpp>

#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace corvane::test {

/// A few threads that run blocks in order; all of them before it is gone.
class PoolQueue final : public Queue {
 public:
  explicit PoolQueue(int threads = 2) {
    for (int i = 0; i < threads; ++i) threads_.emplace_back([this] { run(); });
  }
  ~PoolQueue() override {
    {
      const std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    changed_.notify_all();
    for (auto& thread : threads_) thread.join();
  }

  void async(Block block) override {
    const std::lock_guard lock(mutex_);
    blocks_.push_back(std::move(block));
    changed_.notify_one();
  }

  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds, Block) override {
    std::abort();  // the transport leaves waiting to libcurl
  }

  bool runsThisThread() const {
    for (const auto& thread : threads_)
      if (thread.get_id() == std::this_thread::get_id()) return true;
    return false;
  }

 private:
  void run() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return stopping_ || !blocks_.empty(); });
      if (blocks_.empty()) return;
      Block block = std::move(blocks_.front());
      blocks_.pop_front();
      lock.unlock();
      block();
      block = nullptr;
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopping_ = false;
  std::deque<Block> blocks_;
  std::vector<std::thread> threads_;
};

}  // namespace corvane::test
