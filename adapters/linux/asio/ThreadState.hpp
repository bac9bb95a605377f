#pragma once

#include <sys/types.h>

namespace corvane {

/// What a thread of this process is doing, by the kernel's account.
enum class ThreadState {
  runnable,  // computes, or waits for nothing but a core
  blocked,   // waits for something else: a lock, a file, a person
  unknown,   // the kernel does not tell, for want of /proc or of descriptors
};

/// Asks for one thread by the number that gettid(2) gives it (proc(5), /proc/PID/task/TID/stat). Any thread; no memory
/// is allocated.
ThreadState stateOfThread(pid_t thread) noexcept;

}  // namespace corvane
