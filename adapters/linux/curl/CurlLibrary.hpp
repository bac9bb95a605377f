#pragma once

namespace corvane {

/// Prepares libcurl and OpenSSL, once per process. False when libcurl cannot be used.
bool prepareCurlLibrary() noexcept;

}  // namespace corvane
