#pragma once

#include "HTTPClient.hpp"

#include <curl/curl.h>

#include <memory>
#include <string>

namespace corvane {

/// Where a request goes, taken apart by the parser that the transfer itself uses, so that what was
/// vetted is what is connected to.
struct RequestTarget {
  struct URLDeleter {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
  };

  std::unique_ptr<CURLU, URLDeleter> url;
  /// Host, and port unless it is the scheme's own; for error texts.
  std::string display;
  bool secure = false;
  /// A loopback literal or "localhost": never through a proxy, and the only place where plain http
  /// may go.
  bool loopback = false;

  /// Refuses what must not leave: other schemes, http beyond loopback, credentials in the URL, and
  /// line breaks in the URL and in headers. Throws std::bad_alloc.
  static Result<RequestTarget, NSError> vet(const HTTPRequest& request);
};

}  // namespace corvane
