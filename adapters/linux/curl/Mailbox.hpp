#pragma once

#include "ExchangeQueue.hpp"

#include <memory>
#include <mutex>

namespace corvane {

/// What other threads have to tell the network thread. Posting wakes it and never waits or fails.
class Mailbox {
 public:
  struct Mail {
    ExchangeQueue requests;
    /// Something was cancelled, reset or closed.
    bool sweep = false;
    bool stop = false;
  };

  void post(std::shared_ptr<Exchange> exchange) noexcept;
  void poke() noexcept;
  void stop() noexcept;

  Mail take() noexcept;

  /// The descriptor (eventfd(2)) that wakes the thread, or -1 when it ends.
  void setBell(int bell) noexcept;

 private:
  void wake() noexcept;

  std::mutex mutex_;
  Mail mail_;
  std::mutex bellMutex_;  // not the other, on which the thread that wakes would have to wait at once
  int bell_ = -1;
};

}  // namespace corvane
