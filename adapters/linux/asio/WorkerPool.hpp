#pragma once

#include "OwnProcess.hpp"
#include "asio/PoolPlan.hpp"

#include <CorvanePlatform/Queue.hpp>

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace corvane {

class WorkerPool;

/// A block that waits for its time. The first to claim it has it: the worker that runs it, the
/// caller who cancels it, or the pool that closes.
class Timer final : public Cancellable {
 public:
  using Time = std::chrono::steady_clock::time_point;

  Timer(std::weak_ptr<WorkerPool> pool, Time time, Block block)
      : due(time), pool_(std::move(pool)), block_(std::move(block)) {}

  /// Drops the block here and now, then has the pool forget the timer.
  void cancel() noexcept override;
  /// Drops the block; false if it was gone already.
  bool drop() noexcept;
  /// Runs the block unless it is gone.
  void run();

  const Time due;

 private:
  const std::weak_ptr<WorkerPool> pool_;
  std::atomic<bool> claimed_{false};
  Block block_;
};

/// The threads that both queues share: workers that run blocks, and the clock, which fires timers
/// and looks whether more workers are needed. `PoolPlan` decides; this class holds the threads and
/// does what it says.
///
/// One mutex guards everything, and no block runs or is dropped under it. The threads hold the
/// pool, so that it ends with the last of them. It needs no file descriptor, and no memory to fire
/// a timer.
class WorkerPool final : public std::enable_shared_from_this<WorkerPool> {
 public:
  explicit WorkerPool(QueueTuning tuning);

  void post(Block block);
  std::shared_ptr<Cancellable> postAfter(std::chrono::microseconds delay, Block block);

  /// Stops waiting for a timer whose block is gone.
  void forget(Timer& timer) noexcept;

  /// Drops pending timers, runs what was posted, and waits for the threads unless called on one of
  /// the workers. In a forked process it does nothing, as there are no threads. Called once, after
  /// the last post.
  void close() noexcept;

 private:
  using Lock = std::unique_lock<std::mutex>;
  using Blocks = std::list<Block>;

  struct Worker {
    std::thread thread;
    pid_t id = 0;  // the kernel's; none yet while it starts
    std::condition_variable called;
    bool isCalled = false;
  };
  using Workers = std::list<Worker>;

  // A timer and, made beforehand, the list entry with which it joins the blocks that wait.
  using Timers = std::map<std::pair<Timer::Time, Timer*>, Blocks>;

  void start();
  void addWorker();
  void act(PoolPlan::Actions actions) noexcept;
  void callWorker() noexcept;

  void work(Workers::iterator self) noexcept;
  void runNext(Lock& lock);
  bool rest(Workers::iterator self, Lock& lock);
  void leave(Workers::iterator self, Lock& lock);

  void keepTime() noexcept;
  void fireTimers() noexcept;
  void dropTimers() noexcept;
  void look(Lock& lock) noexcept;
  int countAbleToWork(Lock& lock) noexcept;
  bool isWorker(std::thread::id thread) const noexcept;

  const QueueTuning tuning_;
  OwnProcess process_;

  std::mutex mutex_;
  PoolPlan plan_;
  Blocks ready_;
  Timers timers_;

  Workers busy_;
  Workers resting_;  // the one that began last comes first
  std::thread lastToLeave_;

  std::thread clock_;
  std::condition_variable clockChanged_;
  std::optional<Timer::Time> nextLook_;
  bool orphaned_ = false;  // one of the workers has closed the pool: no thread will join them
  bool ended_ = false;     // the last worker has left
};

}  // namespace corvane
