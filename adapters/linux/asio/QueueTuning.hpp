#pragma once

#include <chrono>

namespace corvane {

/// When workers come and go; the defaults suit a desktop program.
struct QueueTuning {
  /// How long no block may end, with work waiting and all workers busy, before one more worker is
  /// added if workers are blocked.
  std::chrono::milliseconds patience{20};
  /// How long a surplus worker stays without work.
  std::chrono::milliseconds idleBeforeLeaving{5000};
  int mostWorkers = 512;
};

}  // namespace corvane
