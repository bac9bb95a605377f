#pragma once

#include "Authorities.hpp"
#include "Bell.hpp"
#include "CurlTransfer.hpp"
#include "Mailbox.hpp"

#include <CorvanePlatform/Queue.hpp>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace corvane {

/// What the network thread does: takes mail, lets libcurl work, and hands answers to the pool. It never runs
/// any of the host's code, and never waits for anything but its sockets and its mail.
class CurlLoop {
 public:
  /// Throws std::system_error when the machine gives no multi handle or no descriptor.
  CurlLoop(TransferSettings settings, std::string extraCAFile, std::shared_ptr<Queue> pool,
           std::shared_ptr<Mailbox> mailbox);
  ~CurlLoop();
  CurlLoop(const CurlLoop&) = delete;
  CurlLoop& operator=(const CurlLoop&) = delete;

  /// Until the mailbox says stop.
  void run() noexcept;

 private:
  struct MultiDeleter {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };
  struct Pool {
    std::shared_ptr<ClientState> client;
    std::shared_ptr<CurlShare> share;
    unsigned generation = 0;
    unsigned running = 0;
    ExchangeQueue waiting;
  };
  /// Clients that have connections and no request under way. One whose answer waits for the pool is none that has been so
  /// the longest.
  struct Idle {
    Pool* longest = nullptr;
    std::chrono::steady_clock::time_point since;  // of the longest
    std::size_t count = 0;
    bool hasUntaken = false;  // others will be idle once the pool has taken their answers
  };
  using Transfers = std::unordered_map<CURL*, std::unique_ptr<CurlTransfer>>;

  void admit(ExchangeQueue requests) noexcept;
  void sweep() noexcept;
  void startWaiting() noexcept;
  void start(Pool& pool, std::shared_ptr<Exchange> exchange) noexcept;
  std::optional<NSError> openAuthorities();
  void collectFinished() noexcept;
  void handOver() noexcept;
  std::chrono::milliseconds closeIdle() noexcept;
  void waitFor(std::chrono::milliseconds sleep) noexcept;
  Idle longestIdle() noexcept;

  Transfers::node_type end(Transfers::iterator transfer) noexcept;
  Transfers::iterator drop(Transfers::iterator transfer) noexcept;
  Transfers::node_type takeRested();
  void rest(Transfers::node_type transfer) noexcept;
  void answer(std::shared_ptr<Exchange> exchange) noexcept;

  const TransferSettings settings_;
  const std::string extraCAFile_;
  const std::shared_ptr<Queue> pool_;
  const std::shared_ptr<Mailbox> mailbox_;
  const Bell bell_;
  std::optional<Authorities> authorities_;
  std::unique_ptr<CURLM, MultiDeleter> multi_;
  std::unordered_map<const ClientState*, Pool> pools_;
  Transfers transfers_;
  std::vector<Transfers::node_type> rested_;  // have brought an answer and wait for their next exchange
  std::chrono::steady_clock::time_point restedSince_;
  ExchangeQueue answered_;
};

}  // namespace corvane
