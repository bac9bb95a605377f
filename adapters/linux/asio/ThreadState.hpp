#pragma once

#include <sys/types.h>

namespace corvane {

/// Whether the kernel says that a thread of this process computes or waits for a core (proc(5),
/// /proc/PID/task/TID/stat). False if it waits for anything else, such as a lock, a file or a
/// person, and if the kernel does not tell, for want of /proc or of descriptors.
///
/// `thread` is the number that gettid(2) gives it. Any thread; no memory is allocated.
bool isRunnable(pid_t thread) noexcept;

}  // namespace corvane
