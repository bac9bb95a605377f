#pragma once

#include "CallbackRequest.hpp"

#include <Corvane/NSError.hpp>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

// How a sign-in fails, in words for its user. A host puts "Google Drive sign-in failed: " before them. What the user
// can do is the last sentence, and stands alone under the key of the recovery suggestion.
namespace corvane {

/// There is no port for the browser to come back to.
NSError listenerError(std::string_view reason);
NSError signInMemoryError();
NSError missingScopesError();
NSError noRefreshTokenError();
NSError foreignIssuerError();
/// The user closed whatever showed the page.
NSError dismissedError();
/// The one-use address was asked for by two.
NSError openedTwiceError();
NSError otherAccountError(const std::string& expected, const std::string& chosen);
NSError timedOutError(std::chrono::milliseconds limit);

/// The sign-in page handed an error back. Its own words are quoted, made fit to show: one line, at most 200 characters,
/// no markup, and `secrets` struck out.
NSError refusalError(const CallbackRefusal& refusal, const std::vector<Secret>& secrets);

}  // namespace corvane
