#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace corvane::test {

/// One TCP connection to a loopback listener, byte by byte.
class RawClient {
 public:
  /// To "127.0.0.1:12345" or "[::1]:12345".
  explicit RawClient(std::string_view host) {
    const auto colon = host.rfind(':');
    const auto port = static_cast<std::uint16_t>(std::stoi(std::string(host.substr(colon + 1))));
    if (host.front() == '[') {
      sockaddr_in6 address{};
      address.sin6_family = AF_INET6;
      address.sin6_port = htons(port);
      address.sin6_addr = in6addr_loopback;
      open(AF_INET6, reinterpret_cast<sockaddr*>(&address), sizeof address);
    } else {
      sockaddr_in address{};
      address.sin_family = AF_INET;
      address.sin_port = htons(port);
      address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      open(AF_INET, reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
  }
  RawClient(RawClient&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;
  ~RawClient() { close(); }

  bool isConnected() const { return socket_ >= 0; }

  void send(std::string_view text) const {
    while (!text.empty()) {
      const auto sent = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
      if (sent < 0) return;  // the other side has hung up, which the reading end will tell
      text.remove_prefix(static_cast<std::size_t>(sent));
    }
  }

  /// Sends it together with the end of all sending, so that nobody sees the one without the other.
  void sendLast(std::string_view text) const {
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_CORK, &on, sizeof on);  // holds back what fills no packet
    send(text);
    ::shutdown(socket_, SHUT_WR);
  }

  /// All that comes until the other side closes.
  std::string receiveAll() const {
    std::string text;
    char buffer[4096];
    for (;;) {
      const auto count = ::recv(socket_, buffer, sizeof buffer, 0);
      if (count <= 0) return text;
      text.append(buffer, static_cast<std::size_t>(count));
    }
  }

  void close() {
    if (socket_ >= 0) ::close(std::exchange(socket_, -1));
  }

 private:
  void open(int family, const sockaddr* address, socklen_t size) {
    socket_ = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::connect(socket_, address, size) != 0) close();
  }

  int socket_ = -1;
};

/// Sends one request and gives the whole answer.
inline std::string roundTrip(std::string_view host, std::string_view request) {
  const RawClient client(host);
  client.send(request);
  return client.receiveAll();
}

inline std::string getRequest(std::string_view host, std::string_view target) {
  return "GET " + std::string(target) + " HTTP/1.1\r\nHost: " + std::string(host) +
         "\r\nUser-Agent: test\r\nAccept: */*\r\n\r\n";
}

}  // namespace corvane::test
