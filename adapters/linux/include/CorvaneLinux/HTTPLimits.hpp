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
  /// A connection that has been idle for longer is not used again. A client that has been idle for
  /// longer closes all its connections.
  std::chrono::seconds idleConnection{60};
  /// Of a body after inflating, in bytes.
  std::size_t body = 16u << 20;
  /// Of all header lines of an answer together, in bytes.
  std::size_t headers = 300u << 10;
};

}  // namespace corvane
