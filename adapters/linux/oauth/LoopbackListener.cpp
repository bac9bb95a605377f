#include "LoopbackListener.hpp"

#include "OAuthErrors.hpp"
#include "SignInPages.hpp"
#include "SignalsBlocked.hpp"

#include <Corvane/AnyError.hpp>
#include <Corvane/Data.hpp>

#include <utility>

#include <boost/asio.hpp>

#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <list>
#include <system_error>

namespace corvane {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

constexpr std::chrono::milliseconds acceptPause{
    100};  // after a failed accept, as when descriptors are used up

// A program that the presenter starts must not inherit our sockets, or the port would outlive the sign-in.
void closeOnExec(int descriptor) {
  ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

// A listening socket on a free port of the address, or -1 and errno.
int openPort(const tcp::endpoint& endpoint) {
  const int descriptor =
      ::socket(endpoint.protocol().family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return -1;
  if (::bind(descriptor, endpoint.data(), static_cast<socklen_t>(endpoint.size())) == 0 &&
      ::listen(descriptor, SOMAXCONN) == 0)
    return descriptor;
  const int reason = errno;
  ::close(descriptor);
  errno = reason;
  return -1;
}

// One browser tab, or whoever else has come.
struct Connection {
  Connection(tcp::socket taken, std::size_t limit)
      : socket(std::move(taken)), timer(socket.get_executor()), buffer(limit) {}

  void close() {
    error_code ignored;
    socket.close(ignored);
    timer.cancel(ignored);
  }

  asio::mutable_buffer rest() { return asio::buffer(buffer.data() + received, buffer.size() - received); }
  std::string_view text() const { return textView(buffer).substr(0, received); }

  tcp::socket socket;
  asio::steady_timer timer;
  Data buffer;  // wiped, since the code comes through it
  std::size_t received = 0;
  std::string reply;
};

using ConnectionRef = std::shared_ptr<Connection>;

}  // namespace

// Every function but the constructor, `host` and `post` runs on the listener's thread, inside run(); so
// callbacks may hold a bare `this`.
class LoopbackListener::Server {
 public:
  explicit Server(LoopbackLimits limits) : limits_(std::move(limits)) {
    for (const auto& address : limits_.addresses) {
      const tcp::endpoint wanted(asio::ip::make_address(address), 0);
      const int descriptor = openPort(wanted);
      if (descriptor < 0) continue;
      acceptor_.assign(wanted.protocol(), descriptor);
      return;
    }
    throw AnyError(listenerError(std::generic_category().message(errno)));
  }

  std::string host() const {
    const auto endpoint = acceptor_.local_endpoint();
    const auto address = endpoint.address().to_string();
    return (endpoint.address().is_v6() ? "[" + address + "]" : address) + ":" +
           std::to_string(endpoint.port());
  }

  template <class Function>
  void post(Function function) {
    asio::post(context_, std::move(function));
  }

  void run(RequestHandler handler) {
    handler_ = std::move(handler);
    accept();
    context_.run();
    handler_ = nullptr;
  }

  void finish(std::string reply, UniqueFunction<void()> then) {
    stopAccepting();
    if (!held_) {
      closeAll();
      then();
      return;
    }
    const auto connection = held_;
    connection->reply = std::move(reply);
    limitTime(connection);
    asio::async_write(connection->socket, asio::buffer(connection->reply),
                      [this, connection, then = std::make_shared<UniqueFunction<void()>>(std::move(then))](
                          error_code, std::size_t) {
                        closeGently(*connection);
                        closeAll();
                        (*then)();  // the browser may have gone; that is no matter
                      });
  }

  void closeAll() {
    stopAccepting();
    for (const auto& connection : connections_) connection->close();
    connections_.clear();
    held_ = nullptr;
  }

 private:
  void stopAccepting() {
    error_code ignored;
    acceptor_.close(ignored);
    acceptTimer_.cancel(ignored);
  }

  void accept() {
    acceptor_.async_accept([this](error_code error, tcp::socket socket) {
      if (!acceptor_.is_open()) return;
      if (error) {
        acceptLater();
        return;
      }
      closeOnExec(socket.native_handle());
      admit(std::make_shared<Connection>(std::move(socket), limits_.requestBytes));
      accept();
    });
  }

  void acceptLater() {
    dropOldest();
    acceptTimer_.expires_after(acceptPause);
    acceptTimer_.async_wait([this](error_code error) {
      if (!error && acceptor_.is_open()) accept();
    });
  }

  void admit(const ConnectionRef& connection) {
    connections_.push_back(connection);
    if (connections_.size() > limits_.connections) dropOldest();
    limitTime(connection);
    read(connection);
  }

  void dropOldest() {
    const auto oldest = std::find_if(connections_.begin(), connections_.end(),
                                     [this](const auto& connection) { return connection != held_; });
    if (oldest != connections_.end()) drop(*oldest);
  }

  void drop(ConnectionRef connection) {
    connection->close();
    connections_.remove(connection);
    if (held_ == connection) held_ = nullptr;
  }

  void limitTime(const ConnectionRef& connection) {
    connection->timer.expires_after(limits_.connectionTime);
    connection->timer.async_wait([this, connection](error_code) {
      // Not the error code: a wait that is already queued when its timer is moved ends without one.
      if (connection->timer.expiry() <= asio::steady_timer::clock_type::now()) drop(connection);
    });
  }

  void read(const ConnectionRef& connection) {
    connection->socket.async_read_some(connection->rest(),
                                       [this, connection](error_code error, std::size_t count) {
                                         if (error) {
                                           drop(connection);
                                           return;
                                         }
                                         connection->received += count;
                                         const auto end = connection->text().find("\r\n\r\n");
                                         if (end != std::string_view::npos) {
                                           answer(connection, connection->text().substr(0, end + 4));
                                         } else if (connection->received == connection->buffer.size()) {
                                           write(connection, pageReply(SignInPage::tooLong));
                                         } else {
                                           read(connection);
                                         }
                                       });
  }

  void answer(const ConnectionRef& connection, std::string_view head) {
    auto reply = handler_(head);
    if (reply) {
      write(connection, *std::move(reply));
      return;
    }
    held_ = connection;
    connection->timer.expires_at(
        asio::steady_timer::time_point::max());  // how long the exchange takes is not ours
  }

  void write(const ConnectionRef& connection, std::string reply) {
    connection->reply = std::move(reply);
    asio::async_write(connection->socket, asio::buffer(connection->reply),
                      [this, connection](error_code error, std::size_t) {
                        if (error) {
                          drop(connection);
                          return;
                        }
                        error_code ignored;
                        connection->socket.shutdown(tcp::socket::shutdown_send, ignored);
                        drain(connection);
                      });
  }

  // Reads on what is still being sent, until the client closes or its time is over: closing with bytes unread
  // would reset the connection, and the client would never see the answer.
  void drain(const ConnectionRef& connection) {
    connection->socket.async_read_some(asio::buffer(connection->buffer),
                                       [this, connection](error_code error, std::size_t) {
                                         if (error)
                                           drop(connection);
                                         else
                                           drain(connection);
                                       });
  }

  // The same for the last answer, but without waiting for the client.
  static void closeGently(Connection& connection) {
    error_code error;
    connection.socket.shutdown(tcp::socket::shutdown_send, error);
    connection.socket.non_blocking(true, error);
    for (int round = 0; round < 64 && !error; ++round)
      connection.socket.read_some(asio::buffer(connection.buffer), error);
  }

  const LoopbackLimits limits_;
  asio::io_context context_{1};
  tcp::acceptor acceptor_{context_};
  asio::steady_timer acceptTimer_{context_};
  RequestHandler handler_;
  std::list<ConnectionRef> connections_;  // the oldest first
  ConnectionRef held_;
};

LoopbackListener::LoopbackListener(const LoopbackLimits& limits)
    : server_(std::make_shared<Server>(limits)), host_(server_->host()) {}

LoopbackListener::~LoopbackListener() {
  if (!thread_.joinable()) return;
  stop();
  if (thread_.get_id() == std::this_thread::get_id())
    thread_.detach();
  else
    thread_.join();
}

void LoopbackListener::start(RequestHandler handler) {
  const SignalsBlocked signals;
  thread_ = std::thread([server = server_, handler = std::move(handler)]() mutable {
    pthread_setname_np(pthread_self(), "corvane-signin");
    server->run(std::move(handler));
  });
}

void LoopbackListener::finish(std::string reply, UniqueFunction<void()> then) {
  server_->post([server = server_.get(), reply = std::move(reply),
                 then = std::make_shared<UniqueFunction<void()>>(std::move(then))]() mutable {
    server->finish(std::move(reply), [then] { (*then)(); });
  });
}

void LoopbackListener::stop() {
  server_->post([server = server_.get()] { server->closeAll(); });
}

}  // namespace corvane
