#include "ProgressLine.hpp"

#include "ReadableSize.hpp"

#include <utility>

namespace corvane::cli {

ProgressLine::ProgressLine(bool enabled, Print print, Clock clock)
    : enabled_(enabled), print_(std::move(print)), clock_(std::move(clock)), start_(clock_()) {}

void ProgressLine::show(std::uint64_t files) {
  if (!enabled_) return;
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(clock_() - start_).count();
  std::string line = "\r\x1b[K" + readableCount(files) + (files == 1 ? " file" : " files");
  // A rate over less than half a second says little and jumps about.
  if (elapsed >= 500)
    line += ", " + readableCount(files * 1000 / static_cast<std::uint64_t>(elapsed)) + " a second";
  print_(line + " …");
  shown_ = true;
}

void ProgressLine::clear() {
  if (std::exchange(shown_, false)) print_("\r\x1b[K");
}

}  // namespace corvane::cli
