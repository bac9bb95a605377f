#pragma once

#include <csignal>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace corvane::cli {

/// Ctrl-C (SIGINT) and SIGTERM.
///
/// A signal handler may call next to nothing, so there is none: the signals are blocked in every
/// thread, and one thread reads them from a descriptor. The first tells whoever watches, so that
/// the running work can be ended in order; a second one ends the program at once. A signal that the
/// caller has the program ignore stays ignored.
///
/// Made before any other thread of the program, which inherits the blocked signals, and outliving
/// all watches.
class Interrupt {
 public:
  Interrupt();
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  bool happened() const;

  /// A descriptor that is readable from the first signal on, for poll(2).
  int descriptor() const { return happened_; }

  /// Calls `onInterrupt` at the first signal, or at once if it has been; not again once the watch is dropped, which
  /// waits for a running call.
  class Watch;
  [[nodiscard]] std::unique_ptr<Watch> watch(std::function<void()> onInterrupt);

 private:
  void run();
  void interrupted();

  sigset_t former_;
  int signals_;  // signalfd
  int stop_;     // eventfds
  int happened_;
  mutable std::mutex mutex_;
  bool flag_ = false;
  std::list<std::function<void()>> watchers_;
  std::thread thread_;
};

class Interrupt::Watch {
 public:
  Watch(Interrupt& owner, std::list<std::function<void()>>::iterator place) : owner_(owner), place_(place) {}
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

 private:
  Interrupt& owner_;
  std::list<std::function<void()>>::iterator place_;
};

}  // namespace corvane::cli
