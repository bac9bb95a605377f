#pragma once

#include "ClientState.hpp"
#include "HTTPClient.hpp"
#include "RequestTarget.hpp"

#include <CorvanePlatform/Queue.hpp>

#include <atomic>
#include <memory>
#include <optional>

namespace corvane {

class RequestQueue;

/// One request and its answer, on the way from the caller's thread over the network thread to the
/// pool.
///
/// It is in one place at a time, so its parts need no lock: the network thread owns them from
/// `RequestQueue::post` to `answering`, the pool afterwards. Only `cancel` comes from any thread.
/// The handler is kept in the `ClientState` meanwhile.
class Exchange final : public Cancellable, public std::enable_shared_from_this<Exchange> {
 public:
  Exchange(HTTPRequest request, std::size_t bodyLimit, std::shared_ptr<ClientState> client,
           std::shared_ptr<RequestQueue> queue);

  /// Releases the handler on the calling thread, outside every lock, and has the transfer dropped.
  void cancel() noexcept override;
  void markCancelled() noexcept { cancelled_ = true; }
  bool isCancelled() const noexcept { return cancelled_; }

  const std::shared_ptr<ClientState>& client() const { return client_; }
  const HTTPRequest& request() const { return request_; }
  /// Wipes the request, once it is no longer needed.
  void forgetRequest() noexcept { request_ = {}; }

  void setTarget(RequestTarget target);
  const RequestTarget& target() const { return target_; }

  /// The answer as it came, or what kept it from coming. One that has neither ran out of memory.
  void setOutcome(Result<HTTPResponse, NSError> outcome) { outcome_.emplace(std::move(outcome)); }

  /// A block that inflates the body and calls the handler, for a worker of the pool. Throws
  /// std::bad_alloc, and may be called again then.
  Block answering();

 private:
  void answer();
  Result<HTTPResponse, NSError> inflatedOutcome();
  Result<HTTPResponse, NSError> inflated(HTTPResponse response) const;

  HTTPRequest request_;
  RequestTarget target_;
  std::size_t bodyLimit_;
  std::shared_ptr<ClientState> client_;
  std::shared_ptr<RequestQueue> queue_;
  std::optional<NSError> outOfMemory_;  // made beforehand
  std::optional<Result<HTTPResponse, NSError>> outcome_;
  std::atomic<bool> cancelled_{false};
};

}  // namespace corvane
