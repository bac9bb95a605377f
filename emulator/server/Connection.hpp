#pragma once

#include <utility>
// Boost.Asio 1.74 uses std::exchange without including it.
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <cstdint>
#include <memory>

#include "server/Server.hpp"

namespace corvane::emulator {

/// One client's connection: reads a request, carries out the steps of its plan, reads the next. Lives as
/// long as something is under way on it; everything happens on the server's thread.
class Connection {
 public:
  virtual ~Connection() = default;
  virtual void start() = 0;
  virtual void close() = 0;
  /// Closes it if the client has, or may have, its whole answer and sends nothing further.
  virtual void closeIfIdle() = 0;

  static std::shared_ptr<Connection> plain(boost::asio::ip::tcp::socket socket, std::uint64_t number,
                                           const Exchanger& exchanger);
  static std::shared_ptr<Connection> secure(boost::asio::ip::tcp::socket socket,
                                            boost::asio::ssl::context& context, std::uint64_t number,
                                            const Exchanger& exchanger);
};

}  // namespace corvane::emulator
