#include "asio/AsioQueues.hpp"

#include "asio/WorkerPool.hpp"

namespace corvane {
namespace {

// Closes the pool when the last queue goes. The pool itself lives on until its last thread has left it.
class PoolOwner {
 public:
  PoolOwner() = default;
  ~PoolOwner() { pool_->close(); }
  PoolOwner(const PoolOwner&) = delete;
  PoolOwner& operator=(const PoolOwner&) = delete;

  WorkerPool& pool() const { return *pool_; }

 private:
  std::shared_ptr<WorkerPool> pool_ = std::make_shared<WorkerPool>();
};

class AsioQueue final : public Queue {
 public:
  explicit AsioQueue(std::shared_ptr<PoolOwner> owner) : owner_(std::move(owner)) {}

  void async(Block block) override { owner_->pool().post(std::move(block)); }
  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds delay, Block block) override {
    return owner_->pool().postAfter(delay, std::move(block));
  }

 private:
  std::shared_ptr<PoolOwner> owner_;
};

}  // namespace

LinuxQueues makeLinuxQueues() {
  const auto owner = std::make_shared<PoolOwner>();
  return {std::make_shared<AsioQueue>(owner), std::make_shared<AsioQueue>(owner)};
}

}  // namespace corvane
