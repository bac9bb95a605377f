#pragma once

#include "HTTPClient.hpp"

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

namespace corvane {

class Exchange;

/// What a client, its requests and the loop share: the handlers that are still to be called, and
/// the wishes about its connections.
///
/// A handler leaves the book exactly once, by whoever is first: the answer or a cancellation. That one lock
/// is the whole race between them.
class ClientState {
 public:
  struct Entry {
    std::shared_ptr<Exchange> exchange;
    HTTPHandler handler;
  };
  using Entries = std::unordered_map<const Exchange*, Entry>;
  using Clock = std::chrono::steady_clock;

  void add(const std::shared_ptr<Exchange>& exchange, HTTPHandler handler) {
    const std::lock_guard lock(mutex_);
    entries_.emplace(exchange.get(), Entry{exchange, std::move(handler)});
    waiting_ = entries_.size();
  }

  /// Empty when someone else was first.
  HTTPHandler take(const Exchange& exchange) noexcept {
    Entries::node_type node;
    {
      const std::lock_guard lock(mutex_);
      node = entries_.extract(&exchange);
      lastTaken_ = Clock::now().time_since_epoch();
      waiting_ = entries_.size();
    }
    return node.empty() ? HTTPHandler() : std::move(node.mapped().handler);
  }

  Entries takeAll() noexcept {
    const std::lock_guard lock(mutex_);
    lastTaken_ = Clock::now().time_since_epoch();
    waiting_ = 0;
    return std::exchange(entries_, {});
  }

  /// When the last handler was called or dropped; nothing while one waits, such as for the pool to come to its answer.
  std::optional<Clock::time_point> nothingWaitsSince() const noexcept {
    if (waiting_ > 0) return std::nullopt;
    return Clock::time_point(lastTaken_.load());
  }

  /// Set when the client is gone: its connections are closed with its last request.
  std::atomic<bool> closed{false};
  /// Raised to have the present connections closed.
  std::atomic<unsigned> generation{0};

 private:
  std::mutex mutex_;
  Entries entries_;
  // Changed with the book, read by the loop for each client that may be idle.
  std::atomic<std::size_t> waiting_{0};
  std::atomic<Clock::duration> lastTaken_{Clock::duration::zero()};
};

}  // namespace corvane
