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

/// Makes the queues: two to four workers, as the machine has cores, and one more whenever all of them have been busy
/// for a while and fewer than that many of them compute, the others being blocked.
///
/// Lifetime: no thread before the first block. Dropping the last of the two queues drops the timers' blocks, runs what
/// was posted and waits for it; on one of their own workers it returns at once and the workers finish by themselves.
/// Threads: any. The workers take none of the host's signals, and no CPU time when there is nothing to do.
/// Cancellation: a timer's block is dropped within cancel(), on the caller's thread.
/// Errors: std::system_error from the first post if not one thread can be started. An exception that leaves a block
/// ends the program.
LinuxQueues makeLinuxQueues(QueueTuning tuning = {});

}  // namespace corvane
