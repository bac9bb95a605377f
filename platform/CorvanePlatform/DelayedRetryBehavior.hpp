#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>

namespace corvane {

/// How often, and after which delays, something is tried again.
class DelayedRetryBehavior {
 public:
  /// Up to `count` further attempts; the delay before the n-th (from 0) is `initial` seconds times
  /// (1 + `growth`)^n, never more than `bound` seconds.
  static constexpr DelayedRetryBehavior exponentialDelayed(int count, double initial, double growth,
                                                           double bound) {
    return DelayedRetryBehavior(count, initial, growth, bound);
  }

  constexpr int count() const { return count_; }

  std::chrono::microseconds delay(int attempt) const {
    const double seconds = std::min(initial_ * std::pow(1.0 + growth_, attempt), bound_);
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::duration<double>(seconds));
  }

 private:
  constexpr DelayedRetryBehavior(int count, double initial, double growth, double bound)
      : count_(count), initial_(initial), growth_(growth), bound_(bound) {}

  int count_;
  double initial_;
  double growth_;
  double bound_;
};

}  // namespace corvane
