#include "SmallGoogle.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace corvane::test {
namespace {

constexpr std::string_view file =
    R"({"id":"1","name":"a.txt","mimeType":"text/plain","createdTime":"2024-01-31T12:34:56.789Z",)"
    R"("modifiedTime":"2024-01-31T12:34:56.789Z"})";

std::string base64URL(std::string_view bytes) {
  constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  std::string text;
  unsigned value = 0;
  int bits = 0;
  for (const char c : bytes) {
    value = (value << 8) | static_cast<unsigned char>(c);
    for (bits += 8; bits >= 6; bits -= 6) text += digits[(value >> (bits - 6)) & 63];
  }
  if (bits > 0) text += digits[(value << (6 - bits)) & 63];
  return text;
}

/// A query's parameter, with the few escapes undone that occur here.
std::string parameter(const std::string& url, const std::string& name) {
  const auto start = url.find(name + "=");
  if (start == std::string::npos) return {};
  const auto from = start + name.size() + 1;
  const auto raw = url.substr(from, url.find('&', from) - from);
  std::string text;
  for (std::size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] == '%' && i + 2 < raw.size()) {
      text += static_cast<char>(std::stoi(raw.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      text += raw[i];
    }
  }
  return text;
}

void sendAll(int socket, std::string_view text) {
  while (!text.empty()) {
    const auto count = ::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
    if (count <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

/// Reads until the peer closes, or the text is whole.
template <class IsWhole>
std::string receive(int socket, IsWhole isWhole) {
  std::string text;
  char buffer[4096];
  while (!isWhole(text)) {
    const auto count = ::recv(socket, buffer, sizeof buffer, 0);
    if (count <= 0) break;
    text.append(buffer, static_cast<std::size_t>(count));
  }
  return text;
}

bool isWholeRequest(const std::string& text) {
  const auto end = text.find("\r\n\r\n");
  if (end == std::string::npos) return false;
  const auto length = text.find("Content-Length: ");
  return length == std::string::npos || text.size() >= end + 4 + std::stoul(text.substr(length + 16));
}

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

class World {
 public:
  World(int listener, int urls) : listener_(listener), urls_(urls) {}

  [[noreturn]] void run() {
    std::string pending;
    for (;;) {
      pollfd waits[] = {{listener_, POLLIN, 0}, {urls_, POLLIN, 0}};
      if (::poll(waits, 2, -1) < 0) std::_Exit(1);
      if (waits[0].revents & POLLIN) serve();
      if (waits[1].revents & (POLLIN | POLLHUP)) {
        char buffer[4096];
        const auto count = ::read(urls_, buffer, sizeof buffer);
        if (count <= 0) std::_Exit(0);
        pending.append(buffer, static_cast<std::size_t>(count));
        for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
          visit(pending.substr(0, end));
          pending.erase(0, end + 1);
        }
      }
    }
  }

 private:
  // The browser: the page redirects at once. What comes back is read by the next poll's turn, since the sign-in
  // answers only after it has been at our token endpoint.
  void visit(const std::string& url) {
    nonce_ = parameter(url, "nonce");
    const std::string target = parameter(url, "redirect_uri");
    const auto host = target.substr(7, target.find('/', 7) - 7);
    const auto port = static_cast<std::uint16_t>(std::stoi(host.substr(host.find(':') + 1)));
    const int tab = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto address = loopback(port);
    if (::connect(tab, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) std::_Exit(1);
    sendAll(tab, "GET " + target.substr(7 + host.size()) + "?state=" + parameter(url, "state") +
                     "&code=" + FixedSecrets::code + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
    if (tab_ >= 0) ::close(tab_);
    tab_ = tab;
  }

  void serve() {
    const int connection = ::accept(listener_, nullptr, nullptr);
    if (connection < 0) return;
    const std::string request = receive(connection, isWholeRequest);
    std::string body = R"({"files":[)" + std::string(file) + "]}";
    if (request.starts_with("POST /token "))
      body = tokens(request.find("grant_type=refresh_token") != std::string::npos);
    sendAll(connection,
            "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
                std::to_string(body.size()) + "\r\n\r\n" + body);
    ::close(connection);
  }

  std::string tokens(bool refresh) const {
    if (refresh)
      return std::string(R"({"token_type":"Bearer","expires_in":1,"access_token":")") +
             FixedSecrets::nextAccessToken + "\"}";
    const std::string claims =
        R"({"iss":"https://accounts.google.com","aud":"small-client","sub":"1","email":"ada@example.com",)"
        R"("exp":4102444800,"nonce":")" +
        nonce_ + "\"}";
    return std::string(R"({"token_type":"Bearer","expires_in":1,"access_token":")") +
           FixedSecrets::accessToken + R"(","refresh_token":")" + FixedSecrets::refreshToken +
           R"(","scope":"openid email https://www.googleapis.com/auth/drive","id_token":")" +
           base64URL(R"({"alg":"none"})") + "." + base64URL(claims) + "." + FixedSecrets::idTokenSignature +
           "\"}";
  }

  int listener_;
  int urls_;
  int tab_ = -1;
  std::string nonce_;
};

}  // namespace

SmallGoogle::SmallGoogle() {
  const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  auto address = loopback(0);
  socklen_t length = sizeof address;
  int pipe[2];
  if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
      ::listen(listener, 16) != 0 ||
      ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
      ::pipe2(pipe, O_CLOEXEC) != 0)
    throw std::runtime_error("no socket or no pipe");
  baseURL_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  process_ = ::fork();
  if (process_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::close(pipe[1]);
    World(listener, pipe[0]).run();
  }
  ::close(listener);
  ::close(pipe[0]);
  urls_ = pipe[1];
}

SmallGoogle::~SmallGoogle() {
  ::close(urls_);
  ::waitpid(process_, nullptr, 0);
}

void SmallGoogle::browse(const std::string& url) {
  const std::string line = url + "\n";
  if (::write(urls_, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
    throw std::runtime_error("the browser is gone");
}

}  // namespace corvane::test
