#pragma once

#include "HTTPClient.hpp"

#include <CorvaneLinux/HTTPLimits.hpp>
#include <CorvanePlatform/Queue.hpp>

#include <memory>
#include <string>

namespace corvane {

class CurlCore;

/// The one network thread of a platform, and libcurl's multi handle, for any number of clients.
///
/// Lifetime: the thread starts at the first request, and ends with the last of this object and its clients.
/// Threads: any. The last one to drop it waits for the network thread to close its sockets, which never waits
/// for a server, a name look-up, or the pool. Errors: a network that cannot be started (too many open files,
/// a CA file that cannot be read) fails the requests, and is tried again by the next one.
class CurlNetwork {
 public:
  struct Options {
    HTTPLimits limits;
    /// A PEM file of authorities to trust beside the system's; empty for none. Read at the first request.
    std::string extraCAFile;
    /// The whole header value, e.g. "Corvane/1.0 (gzip)".
    std::string userAgent;
    /// Where bodies are inflated and handlers called.
    std::shared_ptr<Queue> pool;
  };

  explicit CurlNetwork(Options options);

  /// A client with connections of its own.
  std::shared_ptr<HTTPClient> makeClient();

 private:
  std::shared_ptr<CurlCore> core_;
};

}  // namespace corvane
