#pragma once

#include <Corvane/AnyError.hpp>
#include <Corvane/NSError.hpp>

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string_view>

namespace corvane {

/// This process is a copy, made by fork(2), of the one that started the threads.
struct ForkedProcessError {
  static std::string_view errorDomain() { return "NSPOSIXErrorDomain"; }
  std::int64_t errorCode() const { return ESRCH; }
  std::string errorDescription() const {
    return "Google Drive cannot be used here: this process was forked after the first use, and the "
           "threads are in the parent. Fork before the first use, or call exec().";
  }
};

/// Tells whether the threads that a piece of the platform has started are still there. fork(2)
/// copies the memory of a process, but of its threads only the one that calls it: what waits for
/// the others, or for a lock that one of them held, waits for ever.
///
/// Threads: any. Ask before taking any lock.
class OwnProcess {
 public:
  /// Called when the first thread is started.
  void remember() noexcept { process_.store(::getpid()); }

  bool isAnother() const noexcept {
    const pid_t process = process_.load();
    return process != 0 && process != ::getpid();
  }

  /// Throws an AnyError with a ForkedProcessError if the threads are those of another process.
  void require() const {
    if (isAnother()) throw AnyError(ForkedProcessError{});
  }

 private:
  std::atomic<pid_t> process_{0};
};

}  // namespace corvane
