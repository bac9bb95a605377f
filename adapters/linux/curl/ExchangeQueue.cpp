#include "ExchangeQueue.hpp"

#include "Exchange.hpp"

#include <utility>

namespace corvane {

ExchangeQueue::ExchangeQueue(ExchangeQueue&& other) noexcept
    : first_(std::move(other.first_)), last_(std::exchange(other.last_, nullptr)) {}

ExchangeQueue& ExchangeQueue::operator=(ExchangeQueue&& other) noexcept {
  std::swap(first_, other.first_);
  std::swap(last_, other.last_);
  return *this;
}

// One by one: a long chain that destroys itself would exhaust the stack.
ExchangeQueue::~ExchangeQueue() {
  while (pop()) {
  }
}

void ExchangeQueue::push(std::shared_ptr<Exchange> exchange) noexcept {
  Exchange* const newLast = exchange.get();
  (last_ ? last_->next_ : first_) = std::move(exchange);
  last_ = newLast;
}

std::shared_ptr<Exchange> ExchangeQueue::pop() noexcept {
  auto exchange = std::move(first_);
  if (!exchange) return nullptr;
  first_ = std::move(exchange->next_);
  if (!first_) last_ = nullptr;
  return exchange;
}

}  // namespace corvane
