#pragma once

#include <CorvanePlatform/Queue.hpp>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace corvane::test {

/// A pool of one thread, which may drop the pool itself.
class ThreadQueue final : public Queue {
 public:
  ThreadQueue() : thread_([state = state_] { state->run(); }) {}
  ~ThreadQueue() override {
    state_->close();
    if (thread_.get_id() == std::this_thread::get_id())
      thread_.detach();
    else
      thread_.join();
  }

  void async(Block block) override { state_->add(std::move(block)); }
  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds, Block) override { return nullptr; }

  std::thread::id threadID() const { return thread_.get_id(); }

 private:
  class State {
   public:
    void add(Block block) {
      const std::lock_guard lock(mutex_);
      blocks_.push_back(std::move(block));
      changed_.notify_all();
    }
    void close() {
      const std::lock_guard lock(mutex_);
      isClosed_ = true;
      changed_.notify_all();
    }
    void run() {
      std::unique_lock lock(mutex_);
      for (;;) {
        changed_.wait(lock, [this] { return isClosed_ || !blocks_.empty(); });
        if (blocks_.empty()) return;
        auto block = std::move(blocks_.front());
        blocks_.pop_front();
        lock.unlock();
        block();
        block = nullptr;
        lock.lock();
      }
    }

   private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Block> blocks_;
    bool isClosed_ = false;
  };

  std::shared_ptr<State> state_ = std::make_shared<State>();
  std::thread thread_;
};

}  // namespace corvane::test
