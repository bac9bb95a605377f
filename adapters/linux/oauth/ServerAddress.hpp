#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// The address in the one form that all its spellings share: scheme and host in lower case (RFC
/// 3986 section 6.2.2.1), without the scheme's own port and without a slash at the end (section
/// 6.2.3).
std::string normalizedAddress(std::string_view url);

/// Two different addresses, made fit for an error's text: their hosts and ports if these differ,
/// otherwise the addresses without user information and query.
std::pair<std::string, std::string> shownApart(std::string_view one, std::string_view other);

}  // namespace corvane
