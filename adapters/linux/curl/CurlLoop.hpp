#pragma once

#include "Authorities.hpp"
#include "Bell.hpp"
#include "CurlTransfer.hpp"
#include "ExchangeQueue.hpp"

#include <CorvanePlatform/Queue.hpp>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

namespace corvane {

/// What is done for the requests of a network: takes mail, lets libcurl work, and hands answers to the pool. It never runs
/// any of the host's code, and never waits for anything but its sockets and the bell.
///
/// Threads: one at a time, whichever drives it (`CurlDriver`).
class CurlLoop {
 public:
  struct Mail {
    ExchangeQueue requests;
    /// Something was cancelled, reset or closed.
    bool sweep = false;

    bool isEmpty() const noexcept { return requests.empty() && !sweep; }
  };

  /// When to look again after a pool that had no memory for an answer,.
  static constexpr std::chrono::milliseconds untilPoolTakesIt{20};

  /// Throws std::system_error when the machine gives no multi handle or no descriptor.
  CurlLoop(TransferSettings settings, std::string extraCAFile, std::shared_ptr<Queue> pool);
  ~CurlLoop();
  CurlLoop(const CurlLoop&) = delete;
  CurlLoop& operator=(const CurlLoop&) = delete;

  /// Does all that can be done without waiting.
  void work(Mail mail) noexcept;
  /// Whether requests are under way.
  bool isRunning() const noexcept { return !transfers_.empty(); }

  bool hasAnswers() const noexcept { return !answered_.empty(); }
  /// The first answer, for the caller to run instead of the pool; none when there is no memory for it.
  Block takeAnswer() noexcept;
  /// Posts the answers to the pool. False if it cannot take them now.
  bool handOver() noexcept;

  /// Closes the connections of clients that have long had nothing to send: libcurl would not use
  /// them again, but close them only with the next request. Gives the time
  /// until there may be more of them.
  std::chrono::milliseconds closeIdle() noexcept;

  /// Until there is something to do, or the bell rings.
  void wait(std::chrono::milliseconds longest, const Bell& bell) noexcept;

 private:
  struct MultiDeleter {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };
  struct Pool {
    std::shared_ptr<ClientState> client;
    std::shared_ptr<CurlShare> share;
    unsigned generation = 0;
    unsigned running = 0;
    std::chrono::steady_clock::time_point idleSince;
    ExchangeQueue waiting;
  };
  using Transfers = std::unordered_map<CURL*, std::unique_ptr<CurlTransfer>>;

  void admit(ExchangeQueue requests) noexcept;
  void sweep() noexcept;
  void startWaiting() noexcept;
  void start(Pool& pool, std::shared_ptr<Exchange> exchange) noexcept;
  std::optional<NSError> openAuthorities();
  void collectFinished() noexcept;

  Transfers::iterator end(Transfers::iterator transfer) noexcept;
  void answer(std::shared_ptr<Exchange> exchange) noexcept;

  const TransferSettings settings_;
  const std::string extraCAFile_;
  const std::shared_ptr<Queue> pool_;
  std::optional<Authorities> authorities_;
  std::unique_ptr<CURLM, MultiDeleter> multi_;
  std::unordered_map<const ClientState*, Pool> pools_;
  Transfers transfers_;
  ExchangeQueue answered_;
};

}  // namespace corvane
