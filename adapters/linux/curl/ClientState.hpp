#pragma once

#include "HTTPClient.hpp"

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace corvane {

class Exchange;

/// What a client, its requests and the network thread share: the handlers that are still to be
/// called, and what is wanted of the client's connections.
///
/// A handler is given out once, to the answer or to a cancellation, whichever comes first. The lock
/// decides that race.
class ClientState {
 public:
  struct Entry {
    std::shared_ptr<Exchange> exchange;
    HTTPHandler handler;
  };
  using Entries = std::unordered_map<const Exchange*, Entry>;

  void add(const std::shared_ptr<Exchange>& exchange, HTTPHandler handler) {
    const std::lock_guard lock(mutex_);
    entries_.emplace(exchange.get(), Entry{exchange, std::move(handler)});
  }

  /// Empty when someone else was first.
  HTTPHandler take(const Exchange& exchange) noexcept {
    Entries::node_type node;
    {
      const std::lock_guard lock(mutex_);
      node = entries_.extract(&exchange);
    }
    return node.empty() ? HTTPHandler() : std::move(node.mapped().handler);
  }

  Entries takeAll() noexcept {
    const std::lock_guard lock(mutex_);
    return std::exchange(entries_, {});
  }

  /// Set when the client is gone: its connections are closed with its last request.
  std::atomic<bool> closed{false};
  /// Raised to have the present connections closed.
  std::atomic<unsigned> generation{0};

 private:
  std::mutex mutex_;
  Entries entries_;
};

}  // namespace corvane
