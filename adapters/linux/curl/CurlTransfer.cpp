#include "CurlTransfer.hpp"

#include "CurlErrors.hpp"
#include "Descriptors.hpp"
#include "LocalNetwork.hpp"

#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

namespace corvane {
namespace {

constexpr std::size_t usualHeaders = 16;  // of an answer of Google's

bool isSafeToRepeat(std::string_view method) {
  return method == "GET" || method == "HEAD";
}

char lowerASCII(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Not by find_first_not_of, which makes a call for each character.
std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

CurlTransfer::CurlTransfer(const TransferSettings& settings, std::shared_ptr<Exchange> exchange,
                           std::shared_ptr<CurlShare> share, std::size_t& openSockets)
    : settings_(settings),
      openSockets_(openSockets),
      exchange_(std::move(exchange)),
      share_(std::move(share)),
      handle_(curl_easy_init()) {
  if (!handle_) throw std::bad_alloc();
  set(CURLOPT_SHARE, share_->handle());
  set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
  set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  set(CURLOPT_TCP_KEEPALIVE, 1L);
  if (!settings.userAgent.empty()) set(CURLOPT_USERAGENT, settings.userAgent.c_str());
  setCallbacks();
  setSecurity();
  setLimits();
  setTarget();
  setMethod();
  setHeaders();
}

// Every option that is set here exists in the library that the build asked for, so only memory can
// fail it.
template <class Value>
void CurlTransfer::set(CURLoption option, Value value) {
  if (curl_easy_setopt(handle_.get(), option, value) != CURLE_OK) throw std::bad_alloc();
}

void CurlTransfer::setCallbacks() {
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_ERRORBUFFER, libraryText_.data());
  // A look-up that nobody waits for any more is left to its thread; otherwise removing the handle
  // would wait for it.
  set(CURLOPT_QUICK_EXIT, 1L);
  set(CURLOPT_OPENSOCKETFUNCTION, &CurlTransfer::openSocket);
  set(CURLOPT_OPENSOCKETDATA, static_cast<void*>(this));
  set(CURLOPT_CLOSESOCKETFUNCTION, &CurlTransfer::closeSocket);
  set(CURLOPT_CLOSESOCKETDATA, static_cast<void*>(&openSockets_));
  set(CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader);
  set(CURLOPT_HEADERDATA, static_cast<void*>(this));
  set(CURLOPT_WRITEFUNCTION, &CurlTransfer::onBody);
  set(CURLOPT_WRITEDATA, static_cast<void*>(this));
  set(CURLOPT_NOPROGRESS, 0L);
  set(CURLOPT_XFERINFOFUNCTION, &CurlTransfer::onProgress);
  set(CURLOPT_XFERINFODATA, static_cast<void*>(this));
}

void CurlTransfer::setSecurity() {
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_FOLLOWLOCATION, 0L);  // a bearer must not follow a redirect
  set(CURLOPT_SSLVERSION, long{CURL_SSLVERSION_TLSv1_2});
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  if (settings_.certificates.apply(handle()) != CURLE_OK) throw std::bad_alloc();
}

void CurlTransfer::setTarget() {
  const RequestTarget& target = exchange_->target();
  set(CURLOPT_CURLU, target.url.get());
  set(CURLOPT_PROXY, target.loopback ? "" : static_cast<const char*>(nullptr));
}

void CurlTransfer::setMethod() {
  const HTTPRequest& request = exchange_->request();
  // The body comes first: to libcurl it means POST, until the method is set.
  set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  set(CURLOPT_POSTFIELDS,
      request.body.empty() ? "" : reinterpret_cast<const char*>(request.body.data()));
  if (request.method == "HEAD") {
    set(CURLOPT_NOBODY, 1L);
  } else if (request.method == "POST" || !request.body.empty()) {
    set(CURLOPT_POST, 1L);
  } else {
    set(CURLOPT_HTTPGET, 1L);
  }
  const bool isNamed = request.method != "GET" && request.method != "HEAD";
  set(CURLOPT_CUSTOMREQUEST, isNamed ? request.method.c_str() : nullptr);

  // libcurl repeats any request whose kept-alive connection dies before the answer begins, and
  // nothing tells whether the server had acted on it. On a fresh connection it never does.
  set(CURLOPT_FRESH_CONNECT, isSafeToRepeat(request.method) ? 0L : 1L);
}

void CurlTransfer::setHeaders() {
  const HTTPRequest& request = exchange_->request();
  headers_.addLine("Accept-Encoding: gzip");  // as a plain header: inflating is not the loop's work
  headers_.addLine("Expect:");
  const bool hasType =
      std::any_of(request.headers.begin(), request.headers.end(), [](const auto& header) {
        constexpr std::string_view contentType = "content-type";
        return std::equal(header.first.begin(), header.first.end(), contentType.begin(),
                          contentType.end(), [](char a, char b) { return lowerASCII(a) == b; });
      });
  if (!hasType) headers_.addLine("Content-Type:");  // none, instead of the library's own
  for (const auto& [name, value] : request.headers) headers_.add(name, value);
  if (!request.bearer.empty()) headers_.addBearer(request.bearer.reveal());
  set(CURLOPT_HTTPHEADER, headers_.list());
}

void CurlTransfer::setLimits() {
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(settings_.limits.connect.count()));
  set(CURLOPT_LOW_SPEED_LIMIT, settings_.limits.stallBytesPerSecond);
  set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(settings_.limits.stall.count()));
  set(CURLOPT_MAXAGE_CONN, static_cast<long>(settings_.limits.idleConnection.count()));
  set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(settings_.limits.body));
}

// Programs that the host starts, a browser for one, must not inherit the connection.
curl_socket_t CurlTransfer::openSocket(void* self, curlsocktype, curl_sockaddr* address) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  const int opened = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  if (opened < 0)
    transfer.socketError_ = errno;  // libcurl does not keep it
  else
    ++transfer.openSockets_;
  return opened;
}

int CurlTransfer::closeSocket(void* openSockets, curl_socket_t socket) noexcept {
  --*static_cast<std::size_t*>(openSockets);
  return ::close(socket);
}

std::size_t CurlTransfer::onHeader(char* data, std::size_t size, std::size_t count,
                                   void* self) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  try {
    return transfer.acceptHeader({data, size * count}) ? size * count : 0;
  } catch (const std::bad_alloc&) {
    transfer.stopped_ = Stopped::outOfMemory;
    return 0;
  }
}

std::size_t CurlTransfer::onBody(char* data, std::size_t size, std::size_t count,
                                 void* self) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  try {
    return transfer.acceptBody({data, size * count}) ? size * count : 0;
  } catch (const std::bad_alloc&) {
    transfer.stopped_ = Stopped::outOfMemory;
    return 0;
  }
}

// libcurl calls it a last time when it has read the end of an answer and still has the connection.
int CurlTransfer::onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  const curl_tlssessioninfo* tls = nullptr;
  curl_easy_getinfo(transfer.handle(), CURLINFO_TLS_SSL_PTR, &tls);
  if (tls && tls->internals)
    transfer.closingAlertCame_ =
        (SSL_get_shutdown(static_cast<const SSL*>(tls->internals)) & SSL_RECEIVED_SHUTDOWN) != 0;
  return 0;
}

bool CurlTransfer::acceptHeader(std::string_view line) {
  headerBytes_ += line.size();
  if (headerBytes_ > settings_.limits.headers) {
    stopped_ = Stopped::headersTooLarge;
    return false;
  }
  if (inBody_) return true;  // a trailer
  if (line.starts_with("HTTP/")) {
    response_.headers.clear();  // those of an interim answer
    return true;
  }
  const bool folded = line.starts_with(' ') || line.starts_with('\t');
  const auto value = trimmed(line);
  if (folded && !response_.headers.empty() && !value.empty()) {
    response_.headers.back().second.append(" ").append(value);
    return true;
  }
  const auto colon = line.find(':');
  if (colon == line.npos) return true;
  if (response_.headers.capacity() == 0) response_.headers.reserve(usualHeaders);
  std::string name(trimmed(line.substr(0, colon)));
  std::transform(name.begin(), name.end(), name.begin(), lowerASCII);
  response_.headers.emplace_back(std::move(name), trimmed(line.substr(colon + 1)));
  return true;
}

bool CurlTransfer::acceptBody(std::string_view bytes) {
  Data& body = response_.body;
  if (!inBody_) {
    inBody_ = true;
    curl_off_t announced = -1;
    curl_easy_getinfo(handle(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
    if (announced > 0)
      body.reserve(std::min(static_cast<std::size_t>(announced), settings_.limits.body) +
                   HTTPResponse::padding);
  }
  if (bytes.size() > settings_.limits.body - body.size()) {
    stopped_ = Stopped::bodyTooLarge;
    return false;
  }
  const auto* begin = reinterpret_cast<const std::byte*>(bytes.data());
  body.insert(body.end(), begin, begin + bytes.size());
  return true;
}

void CurlTransfer::finish(CURLcode code) {
  using Outcome = Result<HTTPResponse, NSError>;
  if (code != CURLE_OK) return exchange_->setOutcome(Outcome::failure(failure(code)));
  long status = 0;
  curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
  if (isCutShort(status))
    return exchange_->setOutcome(Outcome::failure(failure(CURLE_PARTIAL_FILE)));
  response_.status = static_cast<int>(status);
  response_.body.reserve(response_.body.size() + HTTPResponse::padding);
  exchange_->setOutcome(Outcome::success(std::move(response_)));
}

/// An answer without a length ends with its connection (RFC 9112, 6.3). Over TLS only the closing
/// alert tells that the server ended it; libcurl takes the end of the TCP stream for that too.
bool CurlTransfer::isCutShort(long status) const {
  if (!exchange_->target().secure || closingAlertCame_) return false;
  const bool hasBody = status != 204 && status != 304 && exchange_->request().method != "HEAD";
  const bool hasLength =
      !response_.header("content-length").empty() ||
      response_.header("transfer-encoding").find("chunked") != std::string_view::npos;
  return hasBody && !hasLength;
}

NSError CurlTransfer::failure(CURLcode code) const {
  const std::string& host = exchange_->target().display;
  const bool fewDescriptors = mayLackDescriptors(code) && hasFewDescriptors();
  if (code == CURLE_SSL_CACERT_BADFILE && !fewDescriptors)
    return settings_.certificates.loadingFailed();
  switch (stopped_) {
    case Stopped::headersTooLarge:
      return headersTooLargeError(host);
    case Stopped::bodyTooLarge:
      return bodyTooLargeError(host);
    case Stopped::outOfMemory:
      return outOfMemoryError(host);
    case Stopped::no:
      break;
  }
  long systemError = 0;
  curl_off_t connectedAfter = 0;
  TransferFailure failure;
  failure.code = code;
  failure.host = host;
  failure.libraryText = libraryText_.data();
  curl_easy_getinfo(handle(), CURLINFO_OS_ERRNO, &systemError);
  curl_easy_getinfo(handle(), CURLINFO_HTTP_CONNECTCODE, &failure.proxyStatus);
  curl_easy_getinfo(handle(), CURLINFO_PRETRANSFER_TIME_T, &connectedAfter);
  failure.systemError = systemError ? static_cast<int>(systemError) : socketError_;
  failure.connected = connectedAfter > 0;
  failure.inHeaders = failure.connected && !inBody_;
  failure.hasNetwork = code != CURLE_COULDNT_RESOLVE_HOST || hasWayToInternet();
  failure.fewDescriptors = fewDescriptors;
  return transferError(failure);
}

}  // namespace corvane
