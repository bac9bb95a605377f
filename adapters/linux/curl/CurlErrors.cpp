#include "CurlErrors.hpp"

#include "URLErrors.hpp"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>

namespace corvane {
namespace {

constexpr std::string_view checkNetwork = "Check the network connection and try again.";
constexpr std::string_view tryAgain =
    "Try again; if it happens again, look for a proxy or firewall in between.";

std::string systemText(int error) {
  return std::generic_category().message(error);
}

std::string oneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, ' ');
  return text;
}

bool isTooManyFiles(int error) {
  return error == EMFILE || error == ENFILE;
}

NSError tooManyFiles(const std::string& host) {
  return urlError::make(urlError::cannotConnectToHost, "Could not connect to " + host,
                        "too many files are open in this program or system",
                        "Close some, or raise the limit (ulimit -n), and try again.");
}

NSError offline(const std::string& host) {
  return urlError::make(urlError::notConnectedToInternet, "Could not reach " + host,
                        "there is no network", "Connect to a network and try again.");
}

bool says(const TransferFailure& failure, std::string_view text) {
  return failure.libraryText.find(text) != std::string::npos;
}

NSError connectFailure(const TransferFailure& failure) {
  if (isTooManyFiles(failure.systemError)) return tooManyFiles(failure.host);
  if (failure.systemError == ENETUNREACH || failure.systemError == ENETDOWN)
    return offline(failure.host);
  return urlError::make(urlError::cannotConnectToHost, "Could not connect to " + failure.host,
                        failure.systemError ? systemText(failure.systemError) : "",
                        "Check that the server runs and that no firewall is in the way.");
}

NSError lookupFailure(const TransferFailure& failure) {
  if (isTooManyFiles(failure.systemError)) return tooManyFiles(failure.host);
  if (says(failure, "thread failed to start"))
    return urlError::make(urlError::cannotConnectToHost, "Could not connect to " + failure.host,
                          "no thread could be started to look up its name",
                          "Close other programs, or raise the limit (ulimit -u), and try again.");
  if (!failure.hasNetwork) return offline(failure.host);
  return urlError::make(urlError::cannotFindHost, "Could not find the host " + failure.host,
                        "its name has no address", "Check the name and the network connection.");
}

NSError timeOut(const TransferFailure& failure) {
  if (failure.connected)
    return urlError::make(urlError::timedOut,
                          "The answer of " + failure.host + " came too slowly, or not at all", {},
                          checkNetwork);
  return urlError::make(urlError::timedOut, "Connecting to " + failure.host + " took too long", {},
                        checkNetwork);
}

NSError lost(const TransferFailure& failure, std::string_view why) {
  return urlError::make(urlError::networkConnectionLost,
                        "The connection to " + failure.host + " was lost", why, tryAgain);
}

NSError proxyRefused(const TransferFailure& failure) {
  const auto why = failure.proxyStatus == 407
                       ? "it wants a user name and password"
                       : "it answered with status " + std::to_string(failure.proxyStatus);
  return urlError::make(urlError::cannotConnectToHost,
                        "The proxy refused to connect to " + failure.host, why,
                        "Check the proxy in the environment (https_proxy).");
}

NSError untrusted(const TransferFailure& failure) {
  return urlError::make(
      urlError::serverCertificateUntrusted,
      "The certificate of " + failure.host + " is not trusted, so nothing was sent",
      oneLine(failure.libraryText),
      "Check this machine's clock and certificate authorities; a network that inspects traffic "
      "needs its authority to be added.");
}

NSError handshakeFailed(const TransferFailure& failure) {
  return urlError::make(urlError::secureConnectionFailed,
                        "A secure connection to " + failure.host + " failed",
                        oneLine(failure.libraryText),
                        "TLS 1.2 or later is needed; check for a proxy or firewall in between.");
}

}  // namespace

bool mayLackDescriptors(CURLcode code) noexcept {
  return code == CURLE_COULDNT_RESOLVE_HOST || code == CURLE_COULDNT_RESOLVE_PROXY ||
         code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_CACERT_BADFILE;
}

NSError transferError(const TransferFailure& failure) {
  if (failure.fewDescriptors && mayLackDescriptors(failure.code)) return tooManyFiles(failure.host);
  if (failure.proxyStatus >= 300 && !failure.connected) return proxyRefused(failure);
  switch (failure.code) {
    case CURLE_OPERATION_TIMEDOUT:
      return timeOut(failure);
    case CURLE_COULDNT_RESOLVE_HOST:
      return lookupFailure(failure);
    case CURLE_COULDNT_RESOLVE_PROXY:
      return urlError::make(urlError::cannotFindHost,
                            "Could not find the proxy on the way to " + failure.host, {},
                            "Check the proxy in the environment (https_proxy).");
    case CURLE_PROXY:
      return urlError::make(urlError::cannotConnectToHost,
                            "The proxy did not connect to " + failure.host, {},
                            "Check the proxy in the environment (https_proxy).");
    case CURLE_COULDNT_CONNECT:
    case CURLE_INTERFACE_FAILED:
      return connectFailure(failure);
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return untrusted(failure);
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_USE_SSL_FAILED:
      return handshakeFailed(failure);
    case CURLE_FILESIZE_EXCEEDED:
      return bodyTooLargeError(failure.host);
    case CURLE_OUT_OF_MEMORY:
      // libcurl's limit for one header line (100 kB) shows as this, and memory hardly ever runs out
      // just there.
      return failure.inHeaders ? headersTooLargeError(failure.host)
                               : outOfMemoryError(failure.host);
    case CURLE_PARTIAL_FILE:
      return lost(failure, "the answer ended early");
    case CURLE_GOT_NOTHING:
      return lost(failure, "the server closed it without an answer");
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_BAD_CONTENT_ENCODING:
      return lost(failure, "the answer is not HTTP");
    case CURLE_RECV_ERROR:
      if (says(failure, "Too large response headers")) return headersTooLargeError(failure.host);
      if (says(failure, "chunk"))
        return lost(failure, "the answer is not HTTP: a chunk of it is broken");
      return lost(failure, "it broke while the answer came in");
    case CURLE_SEND_ERROR:
      return lost(failure, "it broke while the request went out");
    default:
      return urlError::make(urlError::unknown, "The request to " + failure.host + " failed",
                            curl_easy_strerror(failure.code), tryAgain);
  }
}

NSError headersTooLargeError(const std::string& host) {
  return urlError::make(urlError::dataLengthExceedsMaximum,
                        "The headers of the answer of " + host + " are too large",
                        "they were cut off", tryAgain);
}

NSError bodyTooLargeError(const std::string& host) {
  return urlError::make(urlError::dataLengthExceedsMaximum,
                        "The answer of " + host + " is too large", "it was cut off",
                        "Ask for less at a time.");
}

NSError corruptBodyError(const std::string& host) {
  return urlError::make(urlError::cannotParseResponse, "The answer of " + host + " cannot be read",
                        "its compressed body is damaged", tryAgain);
}

NSError unknownEncodingError(const std::string& host) {
  return urlError::make(urlError::cannotParseResponse, "The answer of " + host + " cannot be read",
                        "it is compressed in a way that was not asked for", tryAgain);
}

NSError outOfMemoryError(const std::string& host) {
  return urlError::make(urlError::unknown, "The request to " + host + " failed", "memory ran out",
                        "Close other programs and try again.");
}

NSError malformedURLError() {
  return urlError::make(urlError::badURL, "The request was not sent", "its URL is malformed",
                        "Give an absolute URL such as https://www.example.com/.");
}

NSError noNetworkThreadError(const std::string& host, const std::string& why) {
  return urlError::make(
      urlError::cannotConnectToHost, "Could not connect to " + host,
      "the network thread could not be started: " + why,
      "Close other programs, or raise the limits (ulimit -n, ulimit -u), and try again.");
}

}  // namespace corvane
