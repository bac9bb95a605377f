#pragma once

#include <chrono>
#include <functional>

namespace corvane {

/// One moment, told by two clocks.
///
/// A lifetime that began in this process is measured by `uptime`, which nobody can set and which goes on
/// while the machine sleeps; only what crosses processes, as an expiry in an archive or in an id_token, is
/// judged by `wall`.
struct Instant {
  std::chrono::nanoseconds uptime;  // since the machine was started
  std::chrono::sys_seconds wall;
};

/// Tells the time. Called from any thread.
using Clock = std::function<Instant()>;

Instant systemInstant();

}  // namespace corvane
