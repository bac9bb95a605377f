#include "ScriptedBrowser.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <stdexcept>

namespace corvane::cli::test {
namespace {

const std::string thisComputer = "http://127.0.0.1:";

int connected(std::uint16_t port) {
  const int connection = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
    return connection;
  ::close(connection);
  return -1;
}

std::string answerTo(std::uint16_t port, const std::string& target) {
  const int connection = connected(port);
  if (connection < 0) throw std::runtime_error("nobody listens on the port");
  const std::string request = "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                              "\r\nConnection: close\r\n\r\n";
  std::string answer;
  std::array<char, 4096> buffer;
  ssize_t count = ::send(connection, request.data(), request.size(), MSG_NOSIGNAL);
  while (count > 0) {
    count = ::recv(connection, buffer.data(), buffer.size(), 0);
    if (count > 0) answer.append(buffer.data(), static_cast<std::size_t>(count));
  }
  ::close(connection);
  return answer;
}

std::string location(const std::string& answer) {
  for (const char* name : {"\r\nLocation: ", "\r\nlocation: "}) {
    const auto found = answer.find(name);
    if (found == std::string::npos) continue;
    const auto start = found + std::string(name).size();
    return answer.substr(start, answer.find("\r\n", start) - start);
  }
  return {};
}

}  // namespace

std::string locationOf(const std::string& url) {
  std::uint16_t port = 0;
  const char* end = url.data() + url.size();
  const char* rest = std::from_chars(url.data() + thisComputer.size(), end, port).ptr;
  return location(answerTo(port, std::string(rest, end)));
}

std::string browse(std::string url) {
  while (url.starts_with(thisComputer)) url = locationOf(url);
  return url;
}

std::string valueOf(const std::string& url, const std::string& name) {
  const auto found = url.find(name + "=");
  if (found == std::string::npos) return {};
  const auto begin = found + name.size() + 1;
  const auto raw = url.substr(begin, url.find('&', begin) - begin);
  std::string value;
  for (std::size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] != '%' || i + 2 >= raw.size()) {
      value += raw[i];
      continue;
    }
    int code = 0;
    std::from_chars(raw.data() + i + 1, raw.data() + i + 3, code, 16);
    value += static_cast<char>(code);
    i += 2;
  }
  return value;
}

bool listensOn(std::uint16_t port) {
  const int connection = connected(port);
  if (connection >= 0) ::close(connection);
  return connection >= 0;
}

}  // namespace corvane::cli::test
