#pragma once

#include <Corvane/NSError.hpp>
#include <DriveParser.hpp>

#include <string>
#include <string_view>

// The errors that the REST client makes itself. `host` is where the service is; `secret` is the request's
// token, which no text may repeat.
namespace corvane {

/// Google's own error. A rate limit that comes as a 403 is reported as 429, which Google's later services use
/// for the same thing, so that it can be told from a lack of permission by its code; the structured error
/// stays as it came. What the user can do about it is its recovery suggestion, where its reason is known.
NSError googleError(const DriveErrorObject& error, int httpStatus, std::string_view host,
                    std::string_view secret);

/// A failure that came without Google's error object, such as a proxy's page, of which nothing is shown.
NSError httpError(int httpStatus, std::string_view host);

/// An answer that should be Drive's JSON and is not.
NSError notJSONError(std::string_view host);

/// A query that is wrong in itself; nothing was sent.
NSError refusedQuery(std::string_view reason);

/// No session to sign the request with; nothing was sent.
NSError missingAuthorizerError();

/// The HTTP client could not take the request; nothing was sent.
NSError unableToSendError(std::string_view host, std::string_view reason);

/// The session dropped the request for a token unanswered; nothing was sent. Made as the next one.
const NSError& droppedTokenError();

/// Memory ran out while an answer was read. Made by the first call, which may throw std::bad_alloc itself.
const NSError& outOfMemoryError();

}  // namespace corvane
