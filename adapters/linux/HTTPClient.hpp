#pragma once

#include <Corvane/AnyCancellable.hpp>
#include <Corvane/Data.hpp>
#include <Corvane/NSError.hpp>
#include <Corvane/Result.hpp>
#include <Corvane/Secret.hpp>
#include <Corvane/UniqueFunction.hpp>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

/// One HTTP request.
struct HTTPRequest {
  std::string method;  // "GET", "POST", "PATCH", "DELETE"
  std::string url;     // absolute; https, or http to a loopback address
  std::vector<std::pair<std::string, std::string>> headers;
  /// Sent as `Authorization: Bearer …` when not empty.
  Secret bearer;
  /// Wiped with the request. A request with a body says its Content-Type in `headers`.
  Data body;
};

/// A whole HTTP answer, inflated (a failure's body that cannot be is left out). Header names are lower-case.
struct HTTPResponse {
  int status = 0;
  std::vector<std::pair<std::string, std::string>> headers;
  /// The body; `padding` further bytes are allocated behind it, for parsers that read ahead.
  Data body;

  static constexpr std::size_t padding = 64;

  /// The first header of that (lower-case) name, or empty.
  std::string_view header(std::string_view name) const {
    for (const auto& [key, value] : headers)
      if (key == name) return value;
    return {};
  }
};

using HTTPHandler = UniqueFunction<void(Result<HTTPResponse, NSError>)>;

/// A connection pool of its own on the one network thread.
///
/// Lifetime: dropping it ends its requests (handlers released uncalled) and closes its connections.
/// Threads: any; handlers are called on a thread of the pool, never on the network thread.
/// Cancellation: at once, without waiting; the handler is released uncalled unless it has begun.
/// Errors: what kept a whole answer from arriving, in NSURLErrorDomain; any HTTP status is a response, not an error.
class HTTPClient {
 public:
  virtual ~HTTPClient() = default;

  /// A request that is neither GET nor HEAD leaves at most once, whatever happens to the connection.
  /// Throws when memory or threads have run out, and after fork(); the handler is released uncalled.
  [[nodiscard]] virtual std::shared_ptr<Cancellable> send(HTTPRequest request, HTTPHandler handler) = 0;

  /// Ends every running request; handlers are released uncalled.
  virtual void cancelAll() = 0;
  /// Closes the pool's connections.
  virtual void resetSession() = 0;
};

}  // namespace corvane
