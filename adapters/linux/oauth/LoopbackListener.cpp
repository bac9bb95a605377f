#include "LoopbackListener.hpp"

#include "SignInErrors.hpp"
#include "SignInPages.hpp"
#include "SignalsBlocked.hpp"

#include <Corvane/AnyError.hpp>
#include <Corvane/Data.hpp>

#include <utility>

#include <boost/asio.hpp>

#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <exception>
#include <list>
#include <mutex>
#include <system_error>

namespace corvane {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

constexpr std::chrono::milliseconds acceptPause{
    100};  // after a failed accept, as when descriptors are used up

std::string endOf(const tcp::endpoint& endpoint) {
  if (endpoint.address().is_v4())
    return socketEnd(endpoint.address().to_v4().to_bytes(), endpoint.port());
  return socketEnd(endpoint.address().to_v6().to_bytes(), endpoint.port());
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

// Closes a descriptor that no socket owns yet.
class NewDescriptor {
 public:
  explicit NewDescriptor(int descriptor) : descriptor_(descriptor) {}
  NewDescriptor(const NewDescriptor&) = delete;
  NewDescriptor& operator=(const NewDescriptor&) = delete;
  ~NewDescriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  int get() const { return descriptor_; }
  void release() { descriptor_ = -1; }

 private:
  int descriptor_;
};

// One browser tab, or whoever else has come.
struct Connection {
  Connection(asio::io_context& context, std::size_t limit) : socket(context), timer(context), buffer(limit) {}

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
  bool isHeld = false;  // its answer comes with the end
};

using ConnectionRef = std::shared_ptr<Connection>;

}  // namespace

// Every function but the constructor, `host` and `end` runs on the listener's thread, inside run(); so
// callbacks may hold a bare `this`.
class LoopbackListener::Server {
 public:
  explicit Server(LoopbackLimits limits) : limits_(std::move(limits)) {
    for (const auto& address : limits_.addresses) {
      const tcp::endpoint wanted(asio::ip::make_address(address), 0);
      NewDescriptor descriptor(openPort(wanted));
      if (descriptor.get() < 0) continue;
      acceptor_.assign(wanted.protocol(), descriptor.get());
      descriptor.release();
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

  void run(RequestHandler handler, LoopbackTroubles troubles) noexcept {
    handler_ = std::move(handler);
    troubles_ = std::move(troubles);
    serve([this] {
      limitLifetime();
      accept();
    });
    while (!serve([this] { context_.run(); })) continue;
    const auto [reply, then] = waitForEnd();
    for (const auto& connection : connections_)
      if (connection->isHeld) tell(*connection, reply);
    closeAll();
    handler_ = nullptr;
    troubles_ = {};
    if (then) then();
  }

  // Any thread.
  void end(std::string reply, UniqueFunction<void()> then) noexcept {
    {
      const std::lock_guard lock(mutex_);
      hasEnded_ = true;
      if (then) ending_ = {std::move(reply), std::move(then)};
    }
    ended_.notify_all();
    context_.stop();
  }

 private:
  struct Ending {
    std::string reply;
    UniqueFunction<void()> then;
  };

  // Does some of the work; false when there was no memory to do it all.
  template <class Work>
  bool serve(Work work) noexcept {
    try {
      work();
      return true;
    } catch (const std::exception&) {
      closeAll();
      if (const auto tell = std::exchange(troubles_.isExhausted, nullptr)) tell();
      return false;
    }
  }

  Ending waitForEnd() {
    std::unique_lock lock(mutex_);
    ended_.wait(lock, [this] { return hasEnded_; });
    return std::move(ending_);
  }

  void limitLifetime() {
    if (limits_.lifetime.count() <= 0) return;
    lifetime_.expires_after(limits_.lifetime);
    lifetime_.async_wait([this](error_code error) {
      if (const auto tell = std::exchange(troubles_.timeIsUp, nullptr); tell && !error) tell();
    });
  }

  void closeAll() {
    stopAccepting();
    for (const auto& connection : connections_) connection->close();
    connections_.clear();
  }

  void stopAccepting() {
    error_code ignored;
    acceptor_.close(ignored);
    acceptTimer_.cancel(ignored);
  }

  void accept() {
    acceptor_.async_wait(tcp::acceptor::wait_read, [this](error_code error) {
      if (!acceptor_.is_open()) return;
      if (error || !take()) acceptLater();
    });
  }

  // The next connection, if it has not gone again; false when the system cannot give one now.
  // Not with async_accept: a program that the host starts between that and a later FD_CLOEXEC would inherit
  // the connection.
  bool take() {
    NewDescriptor descriptor(
        ::accept4(acceptor_.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    const bool isGone = errno == EAGAIN || errno == EWOULDBLOCK || errno == ECONNABORTED || errno == EINTR;
    if (descriptor.get() < 0 && !isGone) return false;
    if (descriptor.get() >= 0) {
      const auto connection = std::make_shared<Connection>(context_, limits_.requestBytes);
      connection->socket.assign(acceptor_.local_endpoint().protocol(), descriptor.get());
      descriptor.release();
      admit(connection);
    }
    accept();
    return true;
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
                                     [](const auto& connection) { return !connection->isHeld; });
    if (oldest != connections_.end()) drop(*oldest);
  }

  void drop(ConnectionRef connection) {
    connection->close();
    connections_.remove(connection);
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
    error_code ignored;
    auto reply = handler_({head,
                           {endOf(connection->socket.local_endpoint(ignored)),
                            endOf(connection->socket.remote_endpoint(ignored))}});
    if (reply) {
      write(connection, *std::move(reply));
      return;
    }
    connection->isHeld = true;
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

  // The last answer. It is short and the first that goes to the client, so the kernel takes it at once; then
  // what has come is read as above, but without waiting for the client.
  static void tell(Connection& connection, const std::string& reply) noexcept {
    if (reply.empty()) return;
    error_code error;
    connection.socket.non_blocking(true, error);
    connection.socket.write_some(asio::buffer(reply), error);
    connection.socket.shutdown(tcp::socket::shutdown_send, error);
    error.clear();
    for (int round = 0; round < 64 && !error; ++round)
      connection.socket.read_some(asio::buffer(connection.buffer), error);
  }

  const LoopbackLimits limits_;
  asio::io_context context_{1};
  tcp::acceptor acceptor_{context_};
  asio::steady_timer acceptTimer_{context_};
  asio::steady_timer lifetime_{context_};
  RequestHandler handler_;
  LoopbackTroubles troubles_;
  std::list<ConnectionRef> connections_;  // the oldest first

  std::mutex mutex_;
  std::condition_variable ended_;
  bool hasEnded_ = false;
  Ending ending_;
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

void LoopbackListener::start(RequestHandler handler, LoopbackTroubles troubles) {
  const SignalsBlocked signals;
  thread_ =
      std::thread([server = server_, handler = std::move(handler), troubles = std::move(troubles)]() mutable {
        pthread_setname_np(pthread_self(), "corvane-signin");
        server->run(std::move(handler), std::move(troubles));
      });
}

void LoopbackListener::finish(std::string reply, UniqueFunction<void()> then) noexcept {
  server_->end(std::move(reply), std::move(then));
}

void LoopbackListener::stop() noexcept {
  server_->end({}, nullptr);
}

}  // namespace corvane
