#pragma once

#include <string_view>

namespace corvane::cli {

/// Whether a URL leads to this computer: http or https, then `localhost`, an address in 127.0.0.0/8
/// or `[::1]`, then nothing but a port and a path. Everything else counts as elsewhere, such as a
/// user name before the host, because two readers of an odd URL can disagree about its host.
bool isLoopbackURL(std::string_view url);

}  // namespace corvane::cli
