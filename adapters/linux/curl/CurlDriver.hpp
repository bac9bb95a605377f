#pragma once

#include "Bell.hpp"
#include "CurlLoop.hpp"
#include "SideJob.hpp"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

namespace corvane {

/// Takes the loop's mail, and has the loop driven by one thread at a time: the network thread, or a worker that has just
/// sent a request and has nothing else to do.
///
/// The problem: a network thread has to be woken for a request, and a worker for its answer, which costs as much as half
/// of what libcurl does for a small one. But a worker must not wait for a server while blocks wait for a worker, and
/// the network must not stand still while the blocks that it serves are slow.
///
/// The idea: a worker whose block ends with a request drives the loop until an answer comes, and runs that answer's
/// block itself. It leaves sooner when it is wanted. What is under way when it leaves is the network thread's, which
/// then drives until nothing is under way. So one request after another wakes no further thread, and many at once are
/// driven like by a thread of their own.
///
/// The cost: a lock and a few flags; and libcurl's work is found on one thread or the other.
///
/// Lifetime: shared by the network's owner, its clients, their requests, and the worker that drives.
/// Threads: any.
class CurlDriver final : public SideJob, public std::enable_shared_from_this<CurlDriver> {
 public:
  /// Takes what is to be driven, before anything is posted. Throws std::system_error when there is no descriptor.
  void adopt(std::unique_ptr<CurlLoop> loop);
  /// The network thread, until `stop`; the loop ends with it.
  void runThread() noexcept;

  /// None of these waits or fails.
  void post(std::shared_ptr<Exchange> exchange) noexcept;
  /// Something was cancelled, reset or closed.
  void poke() noexcept;
  void stop() noexcept;

  Block work(const std::atomic<bool>& wanted) noexcept override;
  void callBack() noexcept override;
  void decline() noexcept override;

 private:
  using Clock = std::chrono::steady_clock;
  using Lock = std::unique_lock<std::mutex>;

  bool isQuiet() const noexcept { return mail_.isEmpty() && !stopped_; }
  void wakeDriver(Lock lock) noexcept;
  void wakeThread(Lock lock) noexcept;
  void awaitNeed(Lock& lock) noexcept;
  void driveUntilQuiet(Lock& lock) noexcept;
  void driveUntilAnswered(Lock& lock, const std::atomic<bool>& wanted) noexcept;
  Block leave(Lock& lock) noexcept;

  std::unique_ptr<CurlLoop> loop_;  // the driver's
  std::optional<Bell> bell_;

  std::mutex mutex_;
  std::condition_variable forThread_;
  CurlLoop::Mail mail_;
  bool stopped_ = false;
  bool isDriven_ = false;
  bool threadNeeded_ = false;                               // for what nobody drives
  Clock::time_point threadDue_ = Clock::time_point::max();  // to close what is idle
};

}  // namespace corvane
