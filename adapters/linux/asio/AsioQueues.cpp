#include "asio/AsioQueues.hpp"

#include "asio/WorkerPool.hpp"

namespace corvane {
namespace {

// Closes the pool when the last queue goes. The pool itself lives until its last thread has left.
class PoolOwner {
 public:
  explicit PoolOwner(QueueTuning tuning) : pool_(std::make_shared<WorkerPool>(tuning)) {}
  ~PoolOwner() { pool_->close(); }
  PoolOwner(const PoolOwner&) = delete;
  PoolOwner& operator=(const PoolOwner&) = delete;

  WorkerPool& pool() const { return *pool_; }

 private:
  std::shared_ptr<WorkerPool> pool_;
};

class PoolQueue final : public Queue {
 public:
  explicit PoolQueue(std::shared_ptr<PoolOwner> owner) : owner_(std::move(owner)) {}

  void async(Block block) override { owner_->pool().post(std::move(block)); }
  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds delay, Block block) override {
    return owner_->pool().postAfter(delay, std::move(block));
  }

 private:
  std::shared_ptr<PoolOwner> owner_;
};

}  // namespace

LinuxQueues makeLinuxQueues(QueueTuning tuning) {
  const auto owner = std::make_shared<PoolOwner>(tuning);
  return {std::make_shared<PoolQueue>(owner), std::make_shared<PoolQueue>(owner)};
}

}  // namespace corvane
