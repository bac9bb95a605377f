#pragma once

#include "CurlNetwork.hpp"
#include "Exchange.hpp"
#include "RequestQueue.hpp"

#include <memory>
#include <mutex>
#include <thread>

namespace corvane {

/// Owns the network thread, which begins with the first request.
///
/// Lifetime: held by the network object and its clients. The last to let go ends the thread and
/// waits for it. Threads: any.
class NetworkThread {
 public:
  explicit NetworkThread(CurlNetwork::Options options) : options_(std::move(options)) {}
  ~NetworkThread();
  NetworkThread(const NetworkThread&) = delete;
  NetworkThread& operator=(const NetworkThread&) = delete;

  const HTTPLimits& limits() const { return options_.limits; }
  const std::shared_ptr<RequestQueue>& queue() const { return queue_; }

  /// Vets the request and gives it to the network thread. What is wrong with it is delivered by the
  /// pool. Throws what the pool throws when it cannot.
  void submit(const std::shared_ptr<Exchange>& exchange);

 private:
  void startOnce();

  const CurlNetwork::Options options_;
  const std::shared_ptr<RequestQueue> queue_ = std::make_shared<RequestQueue>();
  std::mutex starting_;
  std::thread thread_;
};

}  // namespace corvane
