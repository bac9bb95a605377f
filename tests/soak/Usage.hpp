#pragma once

#include <cstddef>
#include <vector>

namespace corvane::soak {

/// What the process holds at one moment.
struct Usage {
  std::size_t memoryKiB = 0;
  std::size_t descriptors = 0;
  std::size_t threads = 0;

  static Usage now();
};

/// The most of each in the run's second quarter, when everything has been used once, and in its last.
struct Trend {
  Usage early;
  Usage late;

  /// Of samples taken at equal distances.
  static Trend of(const std::vector<Usage>& samples);
  /// Whether nothing grew but by what an allocator's and a pool's moods explain.
  bool isFlat() const;
};

}  // namespace corvane::soak
