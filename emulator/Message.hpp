#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::emulator {

using Headers = std::vector<std::pair<std::string, std::string>>;

struct Request {
  std::string method;
  std::string target;
  Headers headers = {};
  std::string body = {};

  /// The first value of that name, in any letter case; empty when there is none.
  std::string_view header(std::string_view name) const;
  std::string_view path() const { return std::string_view(target).substr(0, target.find('?')); }
  std::string_view query() const;
  /// Google compresses only when the User-Agent says "gzip" too (Drive API, "Improve performance").
  bool acceptsGzip() const;
  std::string_view bearer() const;
};

/// The body is shared: a cached page is sent many times without copying.
struct Response {
  int status = 200;
  Headers headers = {};
  std::shared_ptr<const std::string> body = std::make_shared<const std::string>();
  bool gzipped = false;

  static Response json(int status, std::string text);
  static Response html(int status, std::string markup);
};

}  // namespace corvane::emulator
