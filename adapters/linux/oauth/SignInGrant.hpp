#pragma once

#include "AuthorizationRequest.hpp"
#include "OAuthGrant.hpp"
#include "TokenResponse.hpp"

#include <Corvane/NSError.hpp>
#include <Corvane/Result.hpp>

#include <chrono>
#include <string>

namespace corvane {

/// Turns the exchange's answer into a grant, if it is what this sign-in asked for: an id_token of
/// this very sign-in, the Drive scope, and a refresh token. The client secret and the servers are
/// left to the caller.
Result<OAuthGrant, NSError> acceptTokens(TokenResponse response, const AuthorizationRequest& request,
                                         const std::string& issuer, std::chrono::sys_seconds now);

}  // namespace corvane
