#include "server/Server.hpp"

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <stdexcept>
#include <thread>
#include <vector>

#include "server/Connection.hpp"

namespace corvane::emulator {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

class Server::Implementation {
 public:
  Implementation(std::uint16_t port, const Certificates* certificates, Exchanger exchanger)
      : exchanger_(std::move(exchanger)), secure_(certificates != nullptr) {
    if (secure_) {
      tls_.set_options(asio::ssl::context::no_tlsv1 | asio::ssl::context::no_tlsv1_1);
      tls_.use_certificate_chain(asio::buffer(certificates->server));
      tls_.use_private_key(asio::buffer(certificates->serverKey), asio::ssl::context::pem);
    }
    const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
    error_code error;
    acceptor_.open(endpoint.protocol(), error);
    if (!error) acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error) acceptor_.bind(endpoint, error);
    if (!error) acceptor_.listen(asio::socket_base::max_listen_connections, error);
    if (error) {
      throw std::runtime_error("cannot listen on port " + std::to_string(port) + ": " + error.message());
    }
    port_ = acceptor_.local_endpoint().port();
  }

  ~Implementation() { stop(); }

  std::uint16_t port() const { return port_; }

  void start() {
    accept();
    thread_ = std::thread([this] { ioContext_.run(); });
  }

  void stop() {
    if (!thread_.joinable()) return;
    asio::post(ioContext_, [this] {
      error_code ignored;
      acceptor_.close(ignored);
      for (const auto& connection : open()) connection->close();
    });
    thread_.join();
  }

  void closeIdleConnections() {
    asio::post(ioContext_, [this] {
      for (const auto& connection : open()) connection->closeIfIdle();
    });
  }

 private:
  std::vector<std::shared_ptr<Connection>> open() const {
    std::vector<std::shared_ptr<Connection>> result;
    for (const auto& weak : connections_) {
      if (auto connection = weak.lock()) result.push_back(std::move(connection));
    }
    return result;
  }

  void accept() {
    acceptor_.async_accept([this](error_code error, tcp::socket socket) {
      if (!acceptor_.is_open()) return;
      if (!error) begin(std::move(socket));
      accept();
    });
  }

  void begin(tcp::socket socket) {
    std::erase_if(connections_, [](const auto& weak) { return weak.expired(); });
    const auto connection = secure_ ? Connection::secure(std::move(socket), tls_, ++number_, exchanger_)
                                    : Connection::plain(std::move(socket), ++number_, exchanger_);
    connections_.push_back(connection);
    connection->start();
  }

  Exchanger exchanger_;
  bool secure_;
  asio::ssl::context tls_{asio::ssl::context::tls_server};
  asio::io_context ioContext_{1};
  tcp::acceptor acceptor_{ioContext_};
  std::uint16_t port_ = 0;  // known after `stop` too
  std::vector<std::weak_ptr<Connection>> connections_;
  std::uint64_t number_ = 0;
  std::thread thread_;
};

Server::Server(std::uint16_t port, const Certificates* certificates, Exchanger exchanger)
    : implementation_(std::make_unique<Implementation>(port, certificates, std::move(exchanger))) {}
Server::~Server() = default;
std::uint16_t Server::port() const {
  return implementation_->port();
}
void Server::start() {
  implementation_->start();
}
void Server::stop() {
  implementation_->stop();
}
void Server::closeIdleConnections() {
  implementation_->closeIdleConnections();
}

}  // namespace corvane::emulator
