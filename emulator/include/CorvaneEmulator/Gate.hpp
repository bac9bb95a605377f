#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

namespace corvane::emulator {

/// Holds an answer back until a test opens it, so that tests need no sleeping. Any thread may use it.
class Gate {
 public:
  /// Lets through what waits and all that comes later.
  void open();
  /// Waits until a request has arrived at the gate; false when the limit is over first.
  bool waitUntilReached(std::chrono::milliseconds limit = std::chrono::seconds(10));

  /// For the server: true when the gate is open already; otherwise `notify` is called at opening, unless
  /// `forget(owner)` comes first. `notify` runs under the gate's lock and must only post.
  bool reach(const void* owner, std::function<void()> notify);
  void forget(const void* owner);

 private:
  struct Waiter {
    const void* owner;
    std::function<void()> notify;
  };
  std::mutex mutex_;
  std::condition_variable arrived_;
  bool open_ = false;
  bool reached_ = false;
  std::vector<Waiter> waiters_;
};

}  // namespace corvane::emulator
