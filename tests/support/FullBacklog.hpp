#pragma once

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

namespace corvane::test {

/// A port of 127.0.0.1 that takes no connection and refuses none: whoever connects stays in TCP's connect, as with a host
/// that drops packets.
class FullBacklog {
 public:
  FullBacklog()
      : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
        queued_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    // A backlog of 0 holds one connection (listen(2)); that one is never accepted.
    pollfd full{listener_, POLLIN, 0};
    if (::bind(listener_, generic, size) != 0 || ::listen(listener_, 0) != 0 ||
        ::getsockname(listener_, generic, &size) != 0 || ::connect(queued_, generic, size) != 0 ||
        ::poll(&full, 1, -1) != 1)
      ADD_FAILURE() << "no port with a full backlog";
    port_ = ntohs(address.sin_port);
  }
  FullBacklog(const FullBacklog&) = delete;
  FullBacklog& operator=(const FullBacklog&) = delete;
  ~FullBacklog() {
    ::close(queued_);
    ::close(listener_);
  }

  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

  void waitForConnecting() const {
    waitUntil([this] { return connecting() > 0; }, "nobody connects");
  }
  void waitForNobodyConnecting() const {
    waitUntil([this] { return connecting() == 0; }, "somebody still connects");
  }

 private:
  template <class Condition>
  static void waitUntil(Condition holds, const char* otherwise) {
    for (int i = 0; i < 30'000; ++i) {
      if (holds()) return;
      std::this_thread::sleep_for(
          std::chrono::milliseconds(1));  // the kernel's table tells nobody of its changes
    }
    ADD_FAILURE() << otherwise;
  }

  /// Sockets of this computer that have asked this port for a connection and have no answer (proc(5), /proc/net/tcp).
  int connecting() const {
    constexpr std::string_view synSent = "02";
    int count = 0;
    std::ifstream table("/proc/net/tcp");
    std::string line;
    for (std::getline(table, line); std::getline(table, line);) {
      std::istringstream columns(line);
      std::string number, local, remote, state;
      columns >> number >> local >> remote >> state;
      const auto port = std::strtoul(remote.substr(remote.find(':') + 1).c_str(), nullptr, 16);
      if (state == synSent && port == port_) ++count;
    }
    return count;
  }

  int listener_;
  int queued_;
  std::uint16_t port_ = 0;
};

}  // namespace corvane::test
