#pragma once

#include <Corvane/NSError.hpp>

#include <curl/curl.h>

#include <string>

namespace corvane {

/// What is known about a transfer that brought no answer.
struct TransferFailure {
  CURLcode code = CURLE_OK;
  std::string host;  // and port
  /// libcurl's own; may hold a proxy's password, so only TLS texts are shown.
  std::string libraryText;
  int systemError = 0;          // errno of the last failed connect
  long proxyStatus = 0;         // of the answer to CONNECT
  bool connected = false;       // TLS included
  bool inHeaders = false;       // connected, and no byte of a body yet
  bool hasNetwork = true;       // the system knows a way to the internet
  bool fewDescriptors = false;  // which may be the reason
};

/// Whether libcurl gives this code also when it got no descriptor, and does not say so.
bool mayLackDescriptors(CURLcode code) noexcept;

/// Puts a transport failure into NSURLErrorDomain.
NSError transferError(const TransferFailure& failure);

NSError headersTooLargeError(const std::string& host);
NSError bodyTooLargeError(const std::string& host);
NSError corruptBodyError(const std::string& host);
NSError unknownEncodingError(const std::string& host);
NSError outOfMemoryError(const std::string& host);
/// The request's URL cannot be taken apart; it is not shown, as it may hold anything.
NSError malformedURLError();
/// The network thread could not be started.
NSError noNetworkThreadError(const std::string& host, const std::string& why);

}  // namespace corvane
