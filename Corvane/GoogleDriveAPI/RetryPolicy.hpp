#pragma once

#include <Corvane/AnyError.hpp>
#include <CorvanePlatform/DelayedRetryBehavior.hpp>

namespace corvane {

/// When a read is tried again: up to 4 further attempts, after 1, 2, 4 and 8 seconds. The start is the
/// first 1.0; the second 1.0 is the growth, so that each delay is 1 + 1.0 times the one before; 8.0 bounds
/// them. No jitter: one desktop's few requests are no thundering herd, and a user's wait stays predictable.
inline constexpr auto driveRetryBehavior = DelayedRetryBehavior::exponentialDelayed(4, 1.0, 1.0, 8.0);

/// Whether a failure is transient: a busy Drive, or a network that may come back.
bool isRetryable(const AnyError& error);

}  // namespace corvane
