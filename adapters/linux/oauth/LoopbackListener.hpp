#pragma once

#include "PeerUser.hpp"

#include <Corvane/UniqueFunction.hpp>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace corvane {

/// What a listener bears with. The defaults serve a browser well and leave a flood little to hold on to.
struct LoopbackLimits {
  std::size_t requestBytes = 16u << 10;
  /// One more connection, and the oldest is dropped.
  std::size_t connections = 64;
  /// For a connection to send its request and take its answer.
  std::chrono::milliseconds connectionTime{10'000};
  /// Tried in order, since a machine may have no IPv4 loopback.
  std::vector<std::string> addresses{"127.0.0.1", "::1"};
  /// From `start` until `LoopbackTroubles::timeIsUp`; zero for no limit.
  std::chrono::milliseconds lifetime{0};
};

/// One request, for the time of the handler's call.
struct LoopbackRequest {
  /// Through its empty line.
  std::string_view head;
  SocketEnds ends;
};

/// What a listener tells beside the requests, each at most once and on its own thread. Either may be empty.
struct LoopbackTroubles {
  /// Memory has run out. The sockets are closed, and nothing more will be answered.
  std::function<void()> isExhausted;
  /// The listener's lifetime is over. Nothing has been closed.
  std::function<void()> timeIsUp;
};

/// A small web server on a free loopback port, for the browser's way back from the sign-in page.
///
/// The problem: the one request that matters may come amid strays, slow clients and floods, and its
/// answer has to wait until the code has been exchanged. The idea: each request's head goes to one
/// function, which answers at once or holds the connection; `finish` answers those held and closes
/// everything. All sockets live on one thread of the listener's own; only the wish to end is locked. The
/// cost: a thread while a sign-in runs, which is rare and short, and in return no stray connection ever
/// takes a thread from the pool.
///
/// Ending needs no memory, so that a sign-in can also end when there is none. Without a free descriptor the
/// oldest connection makes room, and further ones wait in the kernel.
///
/// Lifetime: dropping it closes everything and waits for the thread, which never waits for anybody;
/// dropped on its own thread it lets that thread end by itself.
/// Threads: `finish` and `stop` from any, they do not wait. Handlers run on the listener's thread.
/// Errors: the constructor throws an AnyError (domain "TessoraService", -101) when no port can be had.
class LoopbackListener {
 public:
  /// The whole answer to a request, or nothing to hold its connection.
  using RequestHandler = std::function<std::optional<std::string>(const LoopbackRequest& request)>;

  explicit LoopbackListener(const LoopbackLimits& limits = {});
  LoopbackListener(const LoopbackListener&) = delete;
  LoopbackListener& operator=(const LoopbackListener&) = delete;
  ~LoopbackListener();

  /// "127.0.0.1:12345" or "[::1]:12345". Connections are taken from the construction on, and wait for
  /// `start`.
  const std::string& host() const { return host_; }

  void start(RequestHandler handler, LoopbackTroubles troubles = {});

  /// Answers the held connections, unless `reply` is empty, closes all sockets, and only then calls `then`.
  /// Call it once.
  void finish(std::string reply, UniqueFunction<void()> then) noexcept;

  /// Closes all sockets.
  void stop() noexcept;

 private:
  class Server;
  std::shared_ptr<Server> server_;
  std::string host_;
  std::thread thread_;
};

}  // namespace corvane
