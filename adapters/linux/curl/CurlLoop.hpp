#pragma once

#include "CurlTransfer.hpp"
#include "RequestQueue.hpp"

#include <CorvanePlatform/Queue.hpp>

#include <chrono>
#include <memory>
#include <unordered_map>

namespace corvane {

/// What the network thread does: it takes requests from the queue, lets libcurl work, and hands the
/// answers to the pool. It never runs any of the host's code, and waits for nothing but its sockets
/// and its queue.
///
/// Threads: made by the thread that starts the network thread, then the network thread's.
class CurlLoop {
 public:
  /// Throws std::system_error when the machine has no memory or no descriptor for it.
  CurlLoop(TransferSettings settings, std::shared_ptr<RequestQueue> queue,
           std::shared_ptr<Queue> pool);
  ~CurlLoop();
  CurlLoop(const CurlLoop&) = delete;
  CurlLoop& operator=(const CurlLoop&) = delete;

  /// Until the queue is stopped.
  void run() noexcept;

 private:
  using Clock = std::chrono::steady_clock;

  struct MultiDeleter {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };
  /// A client's connections, and its requests that wait for one.
  struct Connections {
    std::shared_ptr<ClientState> client;
    std::shared_ptr<CurlShare> share;
    unsigned generation = 0;
    unsigned running = 0;
    Clock::time_point idleSince;
    Exchanges waiting;
  };
  struct Running {
    std::unique_ptr<CurlTransfer> transfer;
    Exchanges exchange;  // the one
  };
  using Transfers = std::unordered_map<CURL*, Running>;

  void admit(Exchanges requests) noexcept;
  void sweep() noexcept;
  void startWaiting() noexcept;
  Connections* nextToStart() noexcept;
  void makeRoomForOneMoreThan(std::size_t connections) noexcept;
  void start(Connections& connections) noexcept;
  void work() noexcept;
  Transfers::iterator end(Transfers::iterator found) noexcept;
  void answer(Exchanges exchange) noexcept;
  bool handOver() noexcept;
  std::chrono::milliseconds closeIdle() noexcept;

  const TransferSettings settings_;
  const std::shared_ptr<RequestQueue> queue_;
  const std::shared_ptr<Queue> pool_;
  std::size_t openSockets_ = 0;  // idle ones too
  std::unique_ptr<CURLM, MultiDeleter> multi_;
  std::unordered_map<const ClientState*, Connections> clients_;
  Transfers transfers_;
  Exchanges answered_;  // and not yet handed to the pool
};

}  // namespace corvane
