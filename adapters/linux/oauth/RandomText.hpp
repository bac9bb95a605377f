#pragma once

#include <Corvane/Secret.hpp>

#include <cstddef>

namespace corvane {

/// Unguessable text: that many random bytes from the system's generator, in base64url.
Secret randomText(std::size_t bytes);

}  // namespace corvane
