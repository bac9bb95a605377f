#pragma once

#include <Corvane/Data.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// base64url without padding (RFC 4648 section 5), as PKCE and JSON Web Tokens use it.
std::string encodeBase64URL(const Data& bytes);

/// Nothing when the text is not exactly such an encoding.
std::optional<Data> decodeBase64URL(std::string_view text);

}  // namespace corvane
