#pragma once

#include "HTTPClient.hpp"
#include "Origin.hpp"

#include <memory>
#include <string>

namespace corvane {

/// Where a request goes.
struct RequestTarget {
  std::shared_ptr<const Origin> origin;
  /// What is asked of the origin: path and query, as they stood in the URL.
  std::string path;

  /// Host, and port unless it is the scheme's own; for error texts.
  const std::string& display() const { return origin->display; }

  /// Refuses what must not leave: origins that are refused, and line breaks in the URL and in headers.
  static Result<RequestTarget, NSError> vet(const HTTPRequest& request, Origins& origins);
};

}  // namespace corvane
