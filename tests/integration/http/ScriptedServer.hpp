#pragma once

#include "Certificates.hpp"

#include <openssl/ssl.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace corvane::test {

/// One connection as the server sees it. It is closed when the script returns.
class ScriptedConnection {
 public:
  ScriptedConnection(int socket, int number, SSL_CTX* tls);
  ~ScriptedConnection();
  ScriptedConnection(const ScriptedConnection&) = delete;
  ScriptedConnection& operator=(const ScriptedConnection&) = delete;

  /// Counted from 0.
  int number() const { return number_; }
  /// False when TLS was not agreed on.
  bool open();
  /// Head and body (by Content-Length); empty when the client has gone.
  std::string readRequest();
  /// False when the client has gone.
  bool send(std::string_view bytes);
  /// Sends as long as the client takes it.
  void sendForEver(std::string_view bytes);
  /// Aborts the connection with a TCP reset.
  void reset();
  /// Ends the server's side without TLS's closing alert.
  void cut();
  /// Until the client goes away.
  void waitForEnd();
  bool endsWithin(std::chrono::milliseconds limit);

 private:
  long read(char* buffer, std::size_t size);

  int socket_;
  const int number_;
  std::unique_ptr<SSL, decltype(&SSL_free)> tls_;
  std::string unread_;
};

struct ServerTLS {
  Identity identity;
  int onlyVersion = 0;  // e.g. TLS1_1_VERSION; 0 for any
};

/// A server on 127.0.0.1 that plays a script to each connection, on a thread of its own.
class ScriptedServer {
 public:
  using Script = std::function<void(ScriptedConnection&)>;

  explicit ScriptedServer(Script script);
  ScriptedServer(ServerTLS tls, Script script);
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  int port() const { return port_; }
  std::string url(const std::string& path = "/") const;
  std::string url(const std::string& host, const std::string& path) const;
  int connections() const;
  /// Waits until that many connections have come in.
  void waitForConnections(int count) const;
  /// Waits until no connection is open.
  void waitUntilAlone() const;

 private:
  void listen();
  void acceptAll();
  void serve(int socket, int number);

  const Script script_;
  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> tls_;
  int listener_ = -1;
  int port_ = 0;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  bool stopping_ = false;
  int count_ = 0;
  std::list<int> open_;
  std::vector<std::thread> threads_;
  std::thread acceptor_;
};

/// Each request of a connection is answered with the same bytes.
ScriptedServer::Script alwaysAnswer(std::string bytes);
/// One request is read and answered with these bytes; then the connection closes.
ScriptedServer::Script answerAndClose(std::string bytes);

/// A whole answer with a Content-Length.
std::string httpAnswer(std::string_view body, std::string_view moreHeaders = {}, int status = 200);

}  // namespace corvane::test
