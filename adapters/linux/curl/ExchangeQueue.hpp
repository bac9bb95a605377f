#pragma once

#include <memory>

namespace corvane {

class Exchange;

/// A first-in-first-out line of exchanges, threaded through themselves, so that joining it cannot fail. An
/// exchange stands in one line at a time.
class ExchangeQueue {
 public:
  ExchangeQueue() = default;
  ExchangeQueue(ExchangeQueue&& other) noexcept;
  ExchangeQueue& operator=(ExchangeQueue&& other) noexcept;
  ~ExchangeQueue();

  bool empty() const noexcept { return !first_; }
  void push(std::shared_ptr<Exchange> exchange) noexcept;
  /// Null when empty.
  std::shared_ptr<Exchange> pop() noexcept;
  const std::shared_ptr<Exchange>& front() const noexcept { return first_; }

 private:
  std::shared_ptr<Exchange> first_;
  Exchange* last_ = nullptr;
};

}  // namespace corvane
