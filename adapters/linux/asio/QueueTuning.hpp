#pragma once

#include <chrono>

namespace corvane {

/// When workers come and go; the defaults suit a desktop program.
struct QueueTuning {
  /// How long no block may end, with work waiting and as many workers as cores busy, before the
  /// kernel is asked whether workers are blocked.
  std::chrono::milliseconds patience{20};
  /// How long a worker stays without work.
  std::chrono::milliseconds idleBeforeLeaving{5000};
  /// Never more threads than this. What is posted while all of them are blocked waits.
  int mostWorkers = 512;
};

}  // namespace corvane
