#include "HTTPClient.hpp"

#include <zlib.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <optional>
#include <stdexcept>

namespace corvane::tests {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;

std::string HTTPAnswer::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (key == name) return value;
  }
  return {};
}

class HTTPClient::Implementation {
 public:
  Implementation(std::uint16_t port, const std::string& authorityPEM) : socket(context) {
    error_code error;
    socket.connect({asio::ip::address_v4::loopback(), port}, error);
    if (error) throw std::runtime_error("connect: " + error.message());
    if (authorityPEM.empty()) return;
    tls.emplace(asio::ssl::context::tls_client);
    tls->add_certificate_authority(asio::buffer(authorityPEM));
    tls->set_verify_mode(asio::ssl::verify_peer);
    tls->set_verify_callback(asio::ssl::host_name_verification("127.0.0.1"));
    secure.emplace(socket, *tls);
    secure->handshake(asio::ssl::stream_base::client, error);
    if (error) throw std::runtime_error("handshake: " + error.message());
  }

  /// Calls `use` with the stream in use.
  template <class Use>
  auto with(Use use) {
    return secure ? use(*secure) : use(socket);
  }

  asio::io_context context;
  tcp::socket socket;
  std::optional<asio::ssl::context> tls;
  std::optional<asio::ssl::stream<tcp::socket&>> secure;
  boost::beast::flat_buffer buffer;
};

HTTPClient::HTTPClient(std::uint16_t port, const std::string& authorityPEM)
    : implementation_(std::make_unique<Implementation>(port, authorityPEM)) {}
HTTPClient::~HTTPClient() = default;

HTTPAnswer HTTPClient::get(const std::string& target, const HTTPHeaders& headers) {
  return send("GET", target, headers);
}

HTTPAnswer HTTPClient::send(const std::string& method, const std::string& target, const HTTPHeaders& headers,
                            const std::string& body) {
  write(method, target, headers, body);
  return read();
}

HTTPAnswer HTTPClient::postForm(const std::string& target, const HTTPHeaders& fields) {
  std::string body;
  for (const auto& [name, value] : fields) {
    body += (body.empty() ? "" : "&") + percentEncoded(name) + "=" + percentEncoded(value);
  }
  return send("POST", target, {{"Content-Type", "application/x-www-form-urlencoded"}}, body);
}

void HTTPClient::write(const std::string& method, const std::string& target, const HTTPHeaders& headers,
                       const std::string& body) {
  std::string text = method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
  for (const auto& [name, value] : headers) text += name + ": " + value + "\r\n";
  if (!body.empty()) text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  writeRaw(text + "\r\n" + body);
}

void HTTPClient::writeRaw(const std::string& bytes) {
  error_code ignored;  // reading tells what is wrong
  implementation_->with([&](auto& stream) { return asio::write(stream, asio::buffer(bytes), ignored); });
}

HTTPAnswer HTTPClient::read() {
  http::response_parser<http::string_body> parser;
  parser.body_limit(boost::none);
  error_code error;
  implementation_->with(
      [&](auto& stream) { return http::read(stream, implementation_->buffer, parser, error); });
  HTTPAnswer answer;
  if (error) answer.error = error.message();
  if (!parser.is_header_done()) return answer;
  const auto& message = parser.get();
  answer.status = static_cast<int>(message.result_int());
  for (const auto& field : message) {
    answer.headers.emplace_back(field.name_string().to_string(), field.value().to_string());
  }
  answer.body = message.body();
  return answer;
}

std::string HTTPClient::readRaw(std::size_t enough) {
  std::string bytes(implementation_->buffer.size(), '\0');
  asio::buffer_copy(asio::buffer(bytes), implementation_->buffer.data());
  implementation_->buffer.clear();
  error_code error;
  while (!error && bytes.size() < enough) {
    std::string piece(65536, '\0');
    const auto count =
        implementation_->with([&](auto& stream) { return stream.read_some(asio::buffer(piece), error); });
    bytes.append(piece, 0, count);
  }
  return bytes;
}

bool HTTPClient::isClosedByPeer() {
  return readRaw(1).empty();
}

std::string percentEncoded(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    result += {'%', digits[byte >> 4U], digits[byte & 15U]};
  }
  return result;
}

std::string inflated(std::string_view gzip) {
  z_stream stream{};
  if (inflateInit2(&stream, 15 + 16) != Z_OK) throw std::runtime_error("zlib cannot start");
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(gzip.data()));
  stream.avail_in = static_cast<uInt>(gzip.size());
  std::string result;
  std::string buffer(65536, '\0');
  int status = Z_OK;
  while (status == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(buffer.data());
    stream.avail_out = static_cast<uInt>(buffer.size());
    status = inflate(&stream, Z_NO_FLUSH);
    result.append(buffer, 0, buffer.size() - stream.avail_out);
  }
  inflateEnd(&stream);
  if (status != Z_STREAM_END) throw std::runtime_error("the gzip data are damaged");
  return result;
}

}  // namespace corvane::tests
