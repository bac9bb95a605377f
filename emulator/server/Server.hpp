#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Message.hpp"
#include "server/Certificates.hpp"
#include "server/WirePlan.hpp"

namespace corvane::emulator {

/// Turns a request into what is done on its connection. Called on the server's thread.
using Exchanger = std::function<WirePlan(const Request& request, std::uint64_t connection, bool keepAlive)>;

/// HTTP/1.1 on 127.0.0.1, on one thread of its own. `stop` (or the destructor) closes every connection and
/// joins the thread.
class Server {
 public:
  /// Throws std::runtime_error when the port cannot be had. Plain http without certificates.
  Server(std::uint16_t port, const Certificates* certificates, Exchanger exchanger);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::uint16_t port() const;
  void start();
  void stop();
  /// Closes the connections that wait for a next request, as a server does that has had enough of them.
  void closeIdleConnections();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::emulator
