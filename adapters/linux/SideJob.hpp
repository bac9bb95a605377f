#pragma once

#include <CorvanePlatform/Queue.hpp>

#include <atomic>
#include <memory>

namespace corvane {

/// What a worker of the pool may do between blocks instead of sleeping: waiting for the answer to the request that its
/// own block has sent, which spares waking another thread for the request and one more for the answer.
///
/// Threads: a job is done by one worker at a time; `callBack` comes from any.
class SideJob {
 public:
  virtual ~SideJob() = default;

  /// Does it until it brings a block, which the worker runs next, or there is nothing more to do, or `wanted` becomes
  /// true, about which `callBack` tells. Whatever is left then is for the job to have done by others.
  virtual Block work(const std::atomic<bool>& wanted) noexcept = 0;
  virtual void callBack() noexcept = 0;
  /// The worker that was to do it has no time.
  virtual void decline() noexcept = 0;

  /// Where this worker's present block may leave a job, or null: the thread is not a worker, or no block runs.
  static std::shared_ptr<SideJob>*& tray() noexcept {
    static thread_local std::shared_ptr<SideJob>* tray = nullptr;
    return tray;
  }

  /// Leaves a job that this worker does, or declines, as soon as its present block has ended. False if the thread is
  /// no worker that could.
  static bool leave(std::shared_ptr<SideJob> job) noexcept {
    if (!tray() || *tray()) return false;
    *tray() = std::move(job);
    return true;
  }
};

}  // namespace corvane
