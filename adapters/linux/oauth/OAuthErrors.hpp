#pragma once

#include <Corvane/NSError.hpp>
#include <CorvanePlatform/SignInService.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace corvane {

// Codes in `oauthGeneralErrorDomain`, beside oauthUserCancelledCode.
inline constexpr std::int64_t oauthIDTokenUnreadableCode = -14;
inline constexpr std::int64_t oauthIDTokenRefusedCode = -15;

/// The code, in the domains "oauth_authorization" and "oauth_token", of an OAuth error name:
///   -2 invalid_request, -3 unauthorized_client, -4 access_denied, -5 unsupported_response_type, -6
///   invalid_scope, -7 server_error, -8 temporarily_unavailable (RFC 6749 section 4.1.2.1), -9
///   invalid_client, -10 invalid_grant, -11 unsupported_grant_type (section 5.2); -61440 any other.
std::int64_t oauthErrorCode(std::string_view error);
inline constexpr std::int64_t oauthOtherErrorCode = -0xF000;

/// An error with a description.
NSError describedError(std::string_view domain, std::int64_t code, std::string description);

/// An error that the authorization server sent; its name and description lie under `oauthErrorResponseKey`.
NSError oauthResponseError(std::string_view domain, std::string_view error, std::string_view errorDescription,
                           std::string description);

/// There is no memory to ask for a token or to read it.
NSError tokenMemoryError();

/// A server's text made fit for one line of an error: printable ASCII, all that RFC 6749 allows there, cut at
/// 200.
std::string oneLine(std::string_view text);

}  // namespace corvane
