#pragma once

#include "asio/QueueTuning.hpp"

#include <chrono>
#include <optional>

namespace corvane {

/// Decides when the pool's workers come, rest and leave.
///
/// Problem: blocks compute, and they also wait for a person who is asked to unlock a keychain. One
/// thread for each block would waste memory on the first kind. As many threads as cores would let
/// the second kind stop everything.
///
/// Idea: the first worker comes with the first block. When work has waited a millisecond and no
/// worker is idle, one more comes, up to as many as there are cores (two to four). Beyond that
/// workers are added only while no block ends and the kernel says that workers are blocked. When
/// none can be added, the pool looks less and less often. Workers that have been idle for some
/// seconds leave, all but one.
///
/// A pure state machine: the pool tells it each event, under its lock, and does what the answer
/// says. There is no thread, clock or system call in here.
class PoolPlan {
 public:
  using Delay = std::chrono::milliseconds;

  /// What the pool does after an event.
  struct Actions {
    bool callWorker = false;           // wake the worker that began to rest last, if one rests
    int addWorkers = 0;                // start so many threads
    bool countAbleToWork = false;      // ask the kernel, then tell `counted`
    std::optional<Delay> lookAfter{};  // tell `lookIsDue` after this time
    bool operator==(const Actions&) const = default;
  };
  /// What a worker does next.
  enum class Next { run, rest, leave };

  /// `cores` counts the workers that may compute side by side.
  PoolPlan(QueueTuning tuning, int cores);

  /// The first worker has been started.
  void started();
  bool isStarted() const { return workers_ > 0; }

  Actions posted();
  Next blockEnded();
  /// A worker is there that was started, or that rested and was called.
  Next workerArrived();
  /// A worker has rested for long enough to leave.
  Next workerIdledLong();
  bool isLastWorker() const { return workers_ == 1; }

  Actions lookIsDue();
  /// So many workers compute, or could if they had a core.
  Actions counted(int ableToWork);
  /// The system had no thread or memory for so many of those that were to be added.
  Actions notAdded(int workers);

  /// Nobody posts any more: workers leave as soon as no block waits.
  void close() { closing_ = true; }

 private:
  bool isStarved() const { return waiting_ > idle_; }
  Next next();
  Actions lookAfter(Delay delay);
  Actions add(int workers, Delay nextLook);
  Actions backOff();

  QueueTuning tuning_;
  int first_;  // this many come without the kernel being asked

  int waiting_ = 0;  // blocks posted and not begun
  int workers_ = 0;
  int idle_ = 0;  // workers that rest, or were called or started and have not arrived yet
  bool closing_ = false;

  bool looking_ = false;         // `lookIsDue` will come
  bool somethingEnded_ = false;  // since the last look
  int looksAtBlocked_ = 0;       // in a row
  Delay pause_{};                // before the next look at blocked workers
};

}  // namespace corvane
