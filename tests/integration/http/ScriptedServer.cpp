#include "ScriptedServer.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <csignal>
#include <stdexcept>

namespace corvane::test {
namespace {

// OpenSSL writes without MSG_NOSIGNAL; the client's tests count SIGPIPEs and must see only the client's own.
void blockBrokenPipes() {
  sigset_t pipes;
  sigemptyset(&pipes);
  sigaddset(&pipes, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipes, nullptr);
}

std::size_t contentLength(std::string head) {
  std::transform(head.begin(), head.end(), head.begin(), [](unsigned char c) { return std::tolower(c); });
  const auto at = head.find("\r\ncontent-length: ");
  if (at == head.npos) return 0;
  std::size_t length = 0;
  std::from_chars(head.data() + at + 18, head.data() + head.size(), length);
  return length;
}

}  // namespace

ScriptedConnection::ScriptedConnection(int socket, int number, SSL_CTX* tls)
    : socket_(socket), number_(number), tls_(tls ? SSL_new(tls) : nullptr, &SSL_free) {
  if (tls_) SSL_set_fd(tls_.get(), socket_);
}

ScriptedConnection::~ScriptedConnection() {
  if (tls_ && socket_ >= 0 && SSL_is_init_finished(tls_.get())) SSL_shutdown(tls_.get());
  if (socket_ >= 0) ::shutdown(socket_, SHUT_WR);
}

bool ScriptedConnection::open() {
  return !tls_ || SSL_accept(tls_.get()) == 1;
}

long ScriptedConnection::read(char* buffer, std::size_t size) {
  if (socket_ < 0) return 0;
  if (tls_) return SSL_read(tls_.get(), buffer, static_cast<int>(size));
  return ::recv(socket_, buffer, size, 0);
}

std::string ScriptedConnection::readRequest() {
  std::array<char, 16384> buffer{};
  for (;;) {
    const auto headEnd = unread_.find("\r\n\r\n");
    if (headEnd != unread_.npos) {
      const auto size = headEnd + 4 + contentLength(unread_.substr(0, headEnd + 2));
      if (unread_.size() >= size) {
        std::string request = unread_.substr(0, size);
        unread_.erase(0, size);
        return request;
      }
    }
    const long count = read(buffer.data(), buffer.size());
    if (count <= 0) return {};
    unread_.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

bool ScriptedConnection::send(std::string_view bytes) {
  while (!bytes.empty() && socket_ >= 0) {
    const long count = tls_ ? SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size()))
                            : ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return socket_ >= 0;
}

void ScriptedConnection::sendForEver(std::string_view bytes) {
  while (send(bytes)) {
  }
}

void ScriptedConnection::reset() {
  const linger abort{1, 0};
  ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  // The number stays taken until the server lets go of it, so that no one else's descriptor is closed in its place.
  const int nothing = ::socket(AF_INET, SOCK_STREAM, 0);
  ::dup2(nothing, socket_);
  ::close(nothing);
  socket_ = -1;
}

void ScriptedConnection::cut() {
  tls_.reset();
  ::shutdown(socket_, SHUT_WR);
}

void ScriptedConnection::waitForEnd() {
  std::array<char, 16384> buffer{};
  while (read(buffer.data(), buffer.size()) > 0) {
  }
}

bool ScriptedConnection::endsWithin(std::chrono::milliseconds limit) {
  pollfd event{socket_, POLLIN | POLLRDHUP, 0};
  return ::poll(&event, 1, static_cast<int>(limit.count())) > 0;
}

ScriptedServer::ScriptedServer(Script script) : script_(std::move(script)), tls_(nullptr, &SSL_CTX_free) {
  listen();
}

ScriptedServer::ScriptedServer(ServerTLS tls, Script script)
    : script_(std::move(script)), tls_(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free) {
  SSL_CTX_use_certificate(tls_.get(), tls.identity.certificate.get());
  SSL_CTX_use_PrivateKey(tls_.get(), tls.identity.key.get());
  if (tls.onlyVersion) {
    SSL_CTX_set_security_level(tls_.get(), 0);
    SSL_CTX_set_min_proto_version(tls_.get(), tls.onlyVersion);
    SSL_CTX_set_max_proto_version(tls_.get(), tls.onlyVersion);
  }
  listen();
}

ScriptedServer::~ScriptedServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    for (const int socket : open_) ::shutdown(socket, SHUT_RDWR);
  }
  ::shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  for (auto& thread : threads_) thread.join();
  ::close(listener_);
}

std::string ScriptedServer::url(const std::string& path) const {
  return url("127.0.0.1", path);
}

std::string ScriptedServer::url(const std::string& host, const std::string& path) const {
  return (tls_ ? "https://" : "http://") + host + ":" + std::to_string(port_) + path;
}

int ScriptedServer::connections() const {
  const std::lock_guard lock(mutex_);
  return count_;
}

void ScriptedServer::waitForConnections(int count) const {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return count_ >= count; });
}

void ScriptedServer::waitUntilAlone() const {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return open_.empty(); });
}

void ScriptedServer::listen() {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(listener_, 1024) != 0 ||
      ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
    throw std::runtime_error("the scripted server cannot listen");
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { acceptAll(); });
}

void ScriptedServer::acceptAll() {
  blockBrokenPipes();
  for (;;) {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const std::lock_guard lock(mutex_);
    if (stopping_) {
      if (socket >= 0) ::close(socket);
      return;
    }
    if (socket < 0) continue;
    open_.push_back(socket);
    const int number = count_++;
    threads_.emplace_back([this, socket, number] { serve(socket, number); });
    changed_.notify_all();
  }
}

void ScriptedServer::serve(int socket, int number) {
  blockBrokenPipes();
  {
    ScriptedConnection connection(socket, number, tls_.get());
    if (connection.open()) script_(connection);
  }
  const std::lock_guard lock(mutex_);
  open_.remove(socket);
  ::close(socket);
  changed_.notify_all();
}

ScriptedServer::Script alwaysAnswer(std::string bytes) {
  return [bytes = std::move(bytes)](ScriptedConnection& connection) {
    while (!connection.readRequest().empty())
      if (!connection.send(bytes)) return;
  };
}

ScriptedServer::Script answerAndClose(std::string bytes) {
  return [bytes = std::move(bytes)](ScriptedConnection& connection) {
    connection.readRequest();
    connection.send(bytes);
  };
}

std::string httpAnswer(std::string_view body, std::string_view moreHeaders, int status) {
  return "HTTP/1.1 " + std::to_string(status) + " Status\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n" + std::string(moreHeaders) + "\r\n" + std::string(body);
}

}  // namespace corvane::test
