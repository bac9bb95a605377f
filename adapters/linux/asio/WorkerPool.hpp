#pragma once

#include "SideJob.hpp"
#include "asio/QueueTuning.hpp"
#include "asio/Timer.hpp"

#include <CorvanePlatform/Queue.hpp>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <unordered_set>

namespace corvane {

/// The workers that both queues share, and the clock that fires timers and notices when all workers are blocked.
///
/// Its threads hold it, so it ends with the last of them. See WorkerPool.cpp for how they come and go.
class WorkerPool final : public std::enable_shared_from_this<WorkerPool> {
 public:
  explicit WorkerPool(QueueTuning tuning);

  void post(Block block);
  std::shared_ptr<Cancellable> postAfter(std::chrono::microseconds delay, Block block);

  /// Stops the clock of a timer whose block is gone.
  void forget(std::shared_ptr<Timer> timer) noexcept;

  /// Drops pending timers, runs what was posted, and waits for the threads unless called on one of them. Called once,
  /// when nobody is left who could post.
  void close() noexcept;

 private:
  using Context = boost::asio::io_context;
  using WorkGuard = boost::asio::executor_work_guard<Context::executor_type>;

  struct Worker {
    std::thread thread;
    pid_t id = 0;  // the kernel's; none yet while it starts
  };

  // One posted block as the library's handler.
  struct Work {
    WorkerPool* pool;
    Block block;
    void operator()() noexcept { pool->run(std::move(block)); }
  };

  void ensureStarted();
  void start();
  bool addWorker() noexcept;
  void work() noexcept;
  bool awaitBlock() noexcept;
  bool rest() noexcept;
  bool wakeReserve() noexcept;
  void leave() noexcept;
  void keepTime() noexcept;

  void enqueue(Block block);
  void run(Block block) noexcept;
  Block doJob(std::shared_ptr<SideJob> job) noexcept;
  void callBackJob() noexcept;
  bool isStarved() const noexcept { return waiting_.load() > 0 && !isAwaited_.load(); }
  void watchIfStarved() noexcept;
  void giveUpWatching() noexcept;
  void expectReserve() noexcept;
  void superviseSoon();
  void supervise();
  bool needsWorker();

  void await(const std::shared_ptr<Timer>& timer, const std::shared_ptr<boost::asio::steady_timer>& waiting);
  void fire(const std::shared_ptr<Timer>& timer,
            const std::shared_ptr<boost::asio::steady_timer>& waiting) noexcept;
  void fireLater(const std::shared_ptr<Timer>& timer,
                 const std::shared_ptr<boost::asio::steady_timer>& waiting) noexcept;
  void drop(const std::shared_ptr<Timer>& timer) noexcept;
  void dropTimers() noexcept;

  const QueueTuning tuning_;

  Context workContext_;
  Context clockContext_{1};
  WorkGuard workGuard_;
  WorkGuard clockGuard_;

  // Each is changed by one atomic step and read after it, so that of two threads that make the pool starve together
  // at least one sees it.
  // Posted and not begun; below zero for the moment in which a post is overtaken.
  std::atomic<int> waiting_{0};
  std::atomic<bool> isAwaited_{false};  // a worker waits for the next post
  std::atomic<int> workers_{0};
  std::atomic<unsigned> finished_{0};  // blocks, wrapping around
  std::atomic<bool> watched_{false};   // the supervisor is awake

  std::mutex jobMutex_;
  std::shared_ptr<SideJob> job_;  // what a worker does now that can be called back; at most one does
  std::atomic<bool> jobIsOver_{false};

  // The supervisor's own, on the clock's thread.
  boost::asio::steady_timer supervisor_;
  std::chrono::milliseconds patience_{};
  bool expectsReserve_ = false;
  unsigned finishedBefore_ = 0;
  int looks_ = 0;  // in a row that found workers blocked

  std::mutex reserveMutex_;
  std::condition_variable forReserve_;
  int resting_ = 0;  // workers in reserve
  int called_ = 0;   // of these, to come back
  std::atomic<bool> closing_{false};

  std::mutex timersMutex_;
  std::unordered_set<std::shared_ptr<Timer>> timers_;

  std::atomic<bool> started_{false};
  std::mutex startMutex_;

  std::mutex threadsMutex_;
  std::thread clock_;
  std::unordered_map<std::thread::id, Worker> threads_;  // the workers
  std::thread lastToLeave_;
  bool orphaned_ = false;  // nobody will join: the pool was closed by one of its own threads
  bool ended_ = false;     // the last worker has left
};

}  // namespace corvane
