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
  /// The header lines, whole.
  std::string_view headers;

  /// The value of the first header of a name, in lower case; empty when there is none.
  std::string_view header(std::string_view name) const;

  /// Nothing when the text is not a request line and header lines, each ended by CR LF. Strict: nothing is
  /// guessed.
  static std::optional<RequestHead> parse(std::string_view text);
};

}  // namespace corvane
