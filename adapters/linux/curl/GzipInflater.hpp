#pragma once

#include "HTTPClient.hpp"

namespace corvane {

enum class InflateFailure { corrupt, tooLarge };

/// Inflates a whole gzip body, one member after another (RFC 1952, 2.2), into a buffer with
/// `HTTPResponse::padding` bytes allocated behind it. Never allocates much more than `limit` bytes,
/// whatever the input claims.
Result<Data, InflateFailure> inflateGzip(const Data& packed, std::size_t limit);

}  // namespace corvane
