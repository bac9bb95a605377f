#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <future>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

namespace corvane::test {

/// A message bus that lets its one client in (D-Bus, "Authentication Protocol") and never says a word more.
class UngreetingBus {
 public:
  explicit UngreetingBus(const std::string& place)
      : listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, place.c_str(), sizeof address.sun_path - 1);
    if (::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 1) != 0)
      throw std::runtime_error("no bus at " + place);
    thread_ = std::thread([this] { serve(); });
  }
  ~UngreetingBus() {
    ::shutdown(listener_, SHUT_RDWR);
    thread_.join();
    ::close(listener_);
  }
  UngreetingBus(const UngreetingBus&) = delete;
  UngreetingBus& operator=(const UngreetingBus&) = delete;

  /// Whether the client is in and has asked for its greeting.
  bool wasAsked() const { return wasAsked_; }
  /// Ready once the client has hung up.
  std::future<void> left() { return left_.get_future(); }

 private:
  void serve() {
    const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) return;
    std::string received;
    char buffer[1024];
    for (ssize_t count = 0; (count = ::recv(client, buffer, sizeof buffer, 0)) > 0;) {
      received.append(buffer, static_cast<std::size_t>(count));
      for (auto end = received.find("\r\n"); !isIn_ && end != std::string::npos;
           end = received.find("\r\n")) {
        answer(client, received.substr(0, end));
        received.erase(0, end + 2);
      }
      if (isIn_ && !received.empty()) wasAsked_ = true;
    }
    ::close(client);
    left_.set_value();
  }

  void answer(int client, std::string_view line) {
    if (line.starts_with('\0')) line.remove_prefix(1);
    isIn_ = line == "BEGIN";
    if (isIn_) return;
    const std::string_view words = line.starts_with("AUTH EXTERNAL ")
                                       ? "OK 0123456789abcdef0123456789abcdef\r\n"
                                   : line == "AUTH" ? "REJECTED EXTERNAL\r\n"
                                                    : "ERROR\r\n";
    ::send(client, words.data(), words.size(), MSG_NOSIGNAL);
  }

  const int listener_;
  bool isIn_ = false;
  std::atomic<bool> wasAsked_ = false;
  std::promise<void> left_;
  std::thread thread_;
};

}  // namespace corvane::test
