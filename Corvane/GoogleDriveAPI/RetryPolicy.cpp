#include "RetryPolicy.hpp"

#include <CorvanePlatform/DriveService.hpp>

#include <cstdint>
#include <string_view>
#include <unordered_set>

namespace corvane {

namespace {

// None of these sets is ever destroyed: a worker may look into them while the process ends.

const std::unordered_set<std::string_view>& driveDomains() {
  static const auto& domains =
      *new const std::unordered_set<std::string_view>{GTLRErrorObjectDomain, GTLRServiceErrorDomain};
  return domains;
}

// Too many requests, and the server's own troubles (Drive API v3, "Resolve errors").
const std::unordered_set<std::int64_t>& driveCodes() {
  static const auto& codes = *new const std::unordered_set<std::int64_t>{429, 500, 502, 503, 504};
  return codes;
}

// Timed out, cannot connect, connection lost, no network, bad server response, no secure connection.
const std::unordered_set<std::int64_t>& networkCodes() {
  static const auto& codes =
      *new const std::unordered_set<std::int64_t>{-1001, -1004, -1005, -1009, -1011, -1200};
  return codes;
}

}  // namespace

bool isRetryable(const AnyError& error) {
  const NSError bridged = error.nsError();
  if (driveDomains().contains(bridged.domain()) && driveCodes().contains(bridged.code())) return true;
  return bridged.domain() == NSURLErrorDomain && networkCodes().contains(bridged.code());
}

}  // namespace corvane
