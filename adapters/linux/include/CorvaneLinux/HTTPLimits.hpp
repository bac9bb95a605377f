#pragma once

#include <chrono>
#include <cstddef>

namespace corvane {

/// How long a request may hang and how much it may bring.
struct HTTPLimits {
  /// Until a connection, TLS included, must stand.
  std::chrono::milliseconds connect{30'000};
  /// A transfer slower than `stallBytesPerSecond` for this long counts as timed out.
  std::chrono::seconds stall{60};
  long stallBytesPerSecond = 64;
  /// A connection idle for longer is not used again, and closed once its client has been idle for as long.
  std::chrono::seconds idleConnection{60};
  /// So many idle clients may keep their connections for as long as that.
  std::size_t idleClients = 64;
  /// Where more are idle, those that were so the longest keep theirs only for this long.
  std::chrono::seconds idleConnectionBeyond{1};
  /// Of a body after inflating, in bytes.
  std::size_t body = 16u << 20;
  /// Of all header lines of an answer together, in bytes.
  std::size_t headers = 300u << 10;
};

}  // namespace corvane
