#include "server/Connection.hpp"

#include <array>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <optional>
#include <type_traits>

namespace corvane::emulator {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
using Socket = asio::ip::tcp::socket;
using SecureStream = asio::ssl::stream<Socket>;

constexpr std::uint32_t mostHeaderBytes = 64 << 10;
constexpr std::uint64_t mostBodyBytes = 1 << 20;
constexpr std::chrono::seconds patienceForGoodbye{1};

std::string text(boost::beast::string_view view) {
  return {view.data(), view.size()};
}

Request requestFrom(http::request<http::string_body>&& message) {
  Request request{.method = text(message.method_string()), .target = text(message.target())};
  for (const auto& field : message) {
    request.headers.emplace_back(text(field.name_string()), text(field.value()));
  }
  request.body = std::move(message.body());
  return request;
}

template <class Stream>
class StreamConnection final : public Connection,
                               public std::enable_shared_from_this<StreamConnection<Stream>> {
 public:
  template <class... Arguments>
  StreamConnection(std::uint64_t number, const Exchanger& exchanger, Socket socket, Arguments&... context)
      : number_(number),
        exchanger_(exchanger),
        stream_(std::move(socket), context...),
        timer_(stream_.get_executor()) {}

  ~StreamConnection() override { leaveGate(); }

  void start() override {
    error_code ignored;
    socket().set_option(asio::ip::tcp::no_delay(true), ignored);
    if constexpr (isSecure) {
      stream_.async_handshake(asio::ssl::stream_base::server, [self = self()](error_code error) {
        if (!error) self->read();
      });
    } else {
      read();
    }
  }

  void close() override {
    closed_ = true;
    leaveGate();
    timer_.cancel();
    error_code ignored;
    socket().close(ignored);
  }

  void closeIfIdle() override {
    if (idle_) {
      close();
    } else if (step_ + 1 == plan_.steps.size()) {
      // The last bytes may have arrived before this side hears of it.
      closesAfterPlan_ = true;
    }
  }

 private:
  static constexpr bool isSecure = std::is_same_v<Stream, SecureStream>;

  auto self() { return this->shared_from_this(); }

  Socket& socket() {
    if constexpr (isSecure) {
      return stream_.next_layer();
    } else {
      return stream_;
    }
  }

  void read() {
    if (closed_) return;
    parser_.emplace();
    parser_->header_limit(mostHeaderBytes);
    parser_->body_limit(mostBodyBytes);
    idle_ = true;
    http::async_read(stream_, buffer_, *parser_, [self = self()](error_code error, std::size_t) {
      self->idle_ = false;
      self->onRead(error);
    });
  }

  void onRead(error_code error) {
    if (closed_) return;
    if (error == http::error::end_of_stream) {
      sayGoodbye();
    } else if (error.category() == http::make_error_code(http::error::bad_method).category()) {
      plan_ = planAnswer(Response::html(400, "<html><body><h1>400 Bad Request</h1></body></html>"),
                         {.keepAlive = false}, {});
      begin();
    } else if (error) {
      close();
    } else {
      answer();
    }
  }

  void answer() {
    const bool keepAlive = parser_->keep_alive();
    plan_ = exchanger_(requestFrom(parser_->release()), number_, keepAlive);
    begin();
  }

  void begin() {
    step_ = 0;
    repeated_ = 0;
    runStep();
  }

  /// Carries out the next step; the last one is followed by the next request.
  void runStep() {
    if (closed_) return;
    if (step_ == plan_.steps.size()) {
      plan_ = {};
      closesAfterPlan_ ? sayGoodbye() : read();
      return;
    }
    const auto& step = plan_.steps[step_];
    switch (step.kind) {
      case WireStep::Kind::Write:
        write(step);
        break;
      case WireStep::Kind::Wait:
        wait(step.wait);
        break;
      case WireStep::Kind::Hold:
        hold(step.gate);
        break;
      case WireStep::Kind::Reset:
        reset();
        break;
      case WireStep::Kind::Close:
        sayGoodbye();
        break;
    }
  }

  void write(const WireStep& step) {
    const std::array<asio::const_buffer, 2> buffers = {
        asio::buffer(step.head),
        step.body ? asio::buffer(step.body->data() + step.from, step.length) : asio::const_buffer()};
    asio::async_write(stream_, buffers, [self = self()](error_code error, std::size_t) {
      if (error) {
        self->close();
        return;
      }
      if (++self->repeated_ >= self->plan_.steps[self->step_].repeat) self->advance();
      self->runStep();
    });
  }

  void advance() {
    ++step_;
    repeated_ = 0;
  }

  void wait(std::chrono::milliseconds duration) {
    timer_.expires_after(duration);
    timer_.async_wait([self = self()](error_code error) {
      if (error) return;
      self->advance();
      self->runStep();
    });
  }

  /// An open-ended wait keeps the connection alive until the gate's word arrives.
  void hold(const std::shared_ptr<Gate>& gate) {
    gate_ = gate;
    timer_.expires_at(std::chrono::steady_clock::time_point::max());
    timer_.async_wait([self = self()](error_code) {
      self->leaveGate();
      self->advance();
      self->runStep();
    });
    const bool open = gate->reach(this, [executor = stream_.get_executor(), weak = this->weak_from_this()] {
      asio::post(executor, [weak] {
        if (const auto connection = weak.lock()) connection->timer_.cancel();
      });
    });
    if (open) timer_.cancel();
  }

  void leaveGate() {
    if (gate_) gate_->forget(this);
    gate_.reset();
  }

  /// Closing with no linger time makes the kernel send RST.
  void reset() {
    error_code ignored;
    socket().set_option(asio::socket_base::linger(true, 0), ignored);
    close();
  }

  void sayGoodbye() {
    if constexpr (isSecure) {
      timer_.expires_after(patienceForGoodbye);
      timer_.async_wait([self = self()](error_code error) {
        if (!error) self->close();
      });
      stream_.async_shutdown([self = self()](error_code) { self->close(); });
    } else {
      error_code ignored;
      socket().shutdown(Socket::shutdown_send, ignored);
      close();
    }
  }

  std::uint64_t number_;
  const Exchanger& exchanger_;
  Stream stream_;
  asio::steady_timer timer_;
  boost::beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  WirePlan plan_;
  std::size_t step_ = 0;
  std::uint64_t repeated_ = 0;
  std::shared_ptr<Gate> gate_;
  bool idle_ = false;
  bool closesAfterPlan_ = false;
  bool closed_ = false;
};

}  // namespace

std::shared_ptr<Connection> Connection::plain(Socket socket, std::uint64_t number,
                                              const Exchanger& exchanger) {
  return std::make_shared<StreamConnection<Socket>>(number, exchanger, std::move(socket));
}

std::shared_ptr<Connection> Connection::secure(Socket socket, asio::ssl::context& context,
                                               std::uint64_t number, const Exchanger& exchanger) {
  return std::make_shared<StreamConnection<SecureStream>>(number, exchanger, std::move(socket), context);
}

}  // namespace corvane::emulator
