#pragma once

#include <optional>
#include <string_view>

namespace corvane {

/// What we look at in the head of an HTTP/1 request (RFC 9112), as views into the text it was read from.
struct RequestHead {
  std::string_view method;
  std::string_view path;
  std::string_view query;
  /// Empty when there is none, or more than one.
  std::string_view host;

  /// Nothing when the text is not a request line and header lines, each ended by CR LF. Strict: nothing is
  /// guessed.
  static std::optional<RequestHead> parse(std::string_view text);
};

}  // namespace corvane
