#pragma once

#include "ClientState.hpp"
#include "HTTPClient.hpp"

#include <memory>

namespace corvane {

class NetworkThread;

/// The HTTPClient over libcurl. Handlers that are released uncalled are destroyed on the thread
/// that cancels, resets or drops, outside every lock.
class CurlClient final : public HTTPClient {
 public:
  explicit CurlClient(std::shared_ptr<NetworkThread> thread) : thread_(std::move(thread)) {}
  ~CurlClient() override;

  std::shared_ptr<Cancellable> send(HTTPRequest request, HTTPHandler handler) override;
  void cancelAll() override;
  /// Requests that are running end normally; their connections are not used again.
  void resetSession() override;

 private:
  const std::shared_ptr<NetworkThread> thread_;
  const std::shared_ptr<ClientState> state_ = std::make_shared<ClientState>();
};

}  // namespace corvane
