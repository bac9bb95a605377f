#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// A server's text made fit for an error's description: one line without control characters, of bounded
/// length.
///
/// Line breaks and tabs become spaces; other control characters, and the marks that turn the direction of
/// writing (Unicode TR 9, section 2), become U+FFFD. `secret` is the request's token: should a server repeat
/// it, whole or in part, that is struck out (SecretRuns.hpp). The text is UTF-8.
std::string oneLine(std::string_view text, std::string_view secret, std::size_t maximumBytes = 1'000);

}  // namespace corvane
