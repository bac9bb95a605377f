#pragma once

#include <Corvane/NSError.hpp>
#include <Corvane/Result.hpp>

#include <curl/curl.h>

#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace corvane {

struct CurlURLDeleter {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using CurlURL = std::unique_ptr<CURLU, CurlURLDeleter>;

/// Where a request connects to: scheme, host and port, taken apart by the parser that the transfer itself will use, so
/// that what was vetted is what is connected to. Never changes, and is read by several threads.
struct Origin {
  /// With the root as its path.
  CurlURL url;
  /// The same as text.
  std::string text;
  /// Host, and port unless it is the scheme's own; for error texts.
  std::string display;
  bool secure = false;
  /// A loopback literal or "localhost": never through a proxy, and the only place where plain http may go.
  bool loopback = false;

  /// Refuses what must not be connected to: other schemes, http beyond loopback, and credentials in the URL. `text` is a
  /// URL up to its path, and a slash.
  static Result<std::shared_ptr<const Origin>, NSError> vet(std::string text);
};

/// The origins of the latest requests: a program's requests go to two or three. Threads: any.
class Origins {
 public:
  /// `text` as `Origin::vet` takes it.
  Result<std::shared_ptr<const Origin>, NSError> vetted(std::string_view text);

 private:
  std::shared_ptr<const Origin> known(std::string_view text);

  std::mutex mutex_;
  std::array<std::shared_ptr<const Origin>, 4> latest_;
  std::size_t next_ = 0;
};

}  // namespace corvane
