#pragma once

// HTTP over libcurl: who owns whom, and on which thread each lives.
//
//   the caller's thread             the network thread              the pool
//
//   CurlNetwork ── makes ──► CurlClient
//        │                       │ send: an Exchange (request and answer);
//        │ own                   │ its handler is kept in the ClientState
//        ▼                       ▼
//   NetworkThread ◄──────────────┘
//        │ RequestTarget::vet
//        └──── RequestQueue ──────► CurlLoop
//              (wakes the thread)    │ one CurlTransfer for each exchange that runs
//                                    │ one CurlShare for each client: its connections
//                                    └── Exchange::answering ────► inflates the body,
//                                                                  calls the handler
//
// The network thread alone uses libcurl's handles and owns what it needs for them. It never runs
// the host's code, and waits for nothing but sockets and the queue. An exchange belongs to one
// thread at a time, so it needs no lock. Only its handler is disputed, between an answer and a
// cancellation: the ClientState gives it out once.

#include "HTTPClient.hpp"
#include "SystemAuthorities.hpp"

#include <CorvaneLinux/HTTPLimits.hpp>
#include <CorvanePlatform/Queue.hpp>

#include <memory>
#include <string>

namespace corvane {

class NetworkThread;

/// The one network thread of a platform, for any number of clients.
///
/// Lifetime: the thread starts at the first request, and ends with the last of this object and its
/// clients. Threads: any. The last one to drop it waits for the network thread to close its
/// sockets, which never waits for a server, a name look-up, or the pool. Errors: a network that
/// cannot be started (too many open files, a CA file that cannot be read) fails the requests, and
/// is tried again by the next one.
class CurlNetwork {
 public:
  struct Options {
    HTTPLimits limits;
    /// A PEM file of authorities to trust beside the system's; empty for none. Read for each new
    /// connection.
    std::string extraCAFile;
    /// The whole header value, e.g. "Corvane/1.0 (gzip)".
    std::string userAgent;
    /// Where bodies are inflated and handlers called.
    std::shared_ptr<Queue> pool;
    SystemAuthorities system = SystemAuthorities::known();
  };

  explicit CurlNetwork(Options options);

  /// A client with connections of its own.
  std::shared_ptr<HTTPClient> makeClient();

 private:
  std::shared_ptr<NetworkThread> thread_;
};

}  // namespace corvane
