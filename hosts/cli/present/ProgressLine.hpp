#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace corvane::cli {

/// How far a listing has come, on one line of a terminal that is written over and over and taken away at the end.
///
/// Disabled, it does nothing. Dropping it clears the line.
class ProgressLine {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;
  using Print = std::function<void(std::string_view)>;

  ProgressLine(bool enabled, Print print, Clock clock = std::chrono::steady_clock::now);
  ~ProgressLine() { clear(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// Shows the count of files so far and how many a second that is.
  void show(std::uint64_t files);
  /// Takes the line away, before something else is printed.
  void clear();

 private:
  bool enabled_;
  Print print_;
  Clock clock_;
  std::chrono::steady_clock::time_point start_;
  bool shown_ = false;
};

}  // namespace corvane::cli
