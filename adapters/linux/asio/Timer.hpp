#pragma once

#include <CorvanePlatform/Queue.hpp>

// Boost 1.74 uses std::exchange without including it.
#include <utility>

#include <boost/asio/steady_timer.hpp>

#include <atomic>
#include <memory>

namespace corvane {

class WorkerPool;

/// A block that waits for its time. Whoever claims it first has it: the worker that runs it, the caller who cancels
/// it, or the pool that closes.
class Timer final : public Cancellable, public std::enable_shared_from_this<Timer> {
 public:
  Timer(std::weak_ptr<WorkerPool> pool, Block block) : pool_(std::move(pool)), block_(std::move(block)) {}

  /// Drops the block here and now; the clock is told afterwards.
  void cancel() noexcept override;

  /// Runs the block unless it is gone.
  void run();
  /// Drops the block; false if it was gone already.
  bool drop() noexcept;

  bool isPending() const noexcept { return !claimed_.load(); }

  /// The clock's own once it waits, and touched on its thread only from then on. It is owned by what waits for it, so
  /// that no timer of the library outlives the library's context.
  std::weak_ptr<boost::asio::steady_timer> waiting;

 private:
  std::weak_ptr<WorkerPool> pool_;
  std::atomic<bool> claimed_{false};
  Block block_;
};

}  // namespace corvane
