#pragma once

#include "oauth/Clock.hpp"

#include <mutex>

namespace corvane::test {

/// Two clocks that only a test moves.
class ManualClock {
 public:
  Clock clock() {
    return [this] {
      const std::lock_guard lock(mutex_);
      return now_;
    };
  }

  /// Time goes by on both clocks.
  void advance(std::chrono::seconds by) {
    const std::lock_guard lock(mutex_);
    now_.uptime += by;
    now_.wall += by;
  }

  /// Somebody sets the wall clock.
  void setWallBy(std::chrono::seconds by) {
    const std::lock_guard lock(mutex_);
    now_.wall += by;
  }

  std::chrono::sys_seconds wall() {
    const std::lock_guard lock(mutex_);
    return now_.wall;
  }

 private:
  std::mutex mutex_;
  Instant now_{std::chrono::hours{5}, std::chrono::sys_seconds{std::chrono::seconds{1'700'000'000}}};
};

}  // namespace corvane::test
