#pragma once

#include "asio/QueueTuning.hpp"

#include <CorvanePlatform/Queue.hpp>

#include <memory>

namespace corvane {

/// The two queues of the Linux platform, which share their workers.
struct LinuxQueues {
  std::shared_ptr<Queue> userInitiated;
  std::shared_ptr<Queue> taskPool;
};

/// Makes the queues: up to two to four workers, as the machine has cores, and more while workers
/// are blocked (PoolPlan.hpp).
///
/// Lifetime: no thread before the first block. Dropping the last of the two queues drops the
/// timers' blocks, runs what was posted and waits for it. On one of their own workers it returns at
/// once, and the workers finish by themselves. In a forked process it does nothing.
///
/// Threads: any. The workers take none of the host's signals, and no CPU time when there is nothing
/// to do.
///
/// Cancellation: a timer's block is dropped within cancel(), on the caller's thread.
///
/// Errors: a post or timer that fails drops its block and throws; the next one may work. An
/// AnyError if not one thread can be started, or with ForkedProcessError in a process forked since
/// the first block; std::bad_alloc without memory. An exception that leaves a block ends the
/// program.
LinuxQueues makeLinuxQueues(QueueTuning tuning = {});

}  // namespace corvane
