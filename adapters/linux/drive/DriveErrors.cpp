#include "DriveErrors.hpp"

#include "DriveAdvice.hpp"
#include "OneLine.hpp"
#include "StructuredError.hpp"

#include <CorvanePlatform/DriveService.hpp>
#include <URLErrors.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>

namespace corvane {
namespace {

constexpr std::int64_t refusedQueryCode = -1;               // HTTP statuses are positive
constexpr std::int64_t userAuthenticationRequired = -1013;  // NSURLErrorUserAuthenticationRequired
constexpr std::string_view posixErrorDomain = "NSPOSIXErrorDomain";

UserInfo described(std::string description) {
  UserInfo userInfo;  // not as a braced list: g++ 12 destroys its parts twice when memory runs out halfway
  userInfo.emplace(NSLocalizedDescriptionKey, std::move(description));
  return userInfo;
}

bool isRateLimit(const DriveErrorObject& error) {
  constexpr std::array<std::string_view, 3> reasons{"rateLimitExceeded", "userRateLimitExceeded",
                                                    "RATE_LIMIT_EXCEEDED"};
  const auto gives = [&reasons](const auto& entry) {
    return std::find(reasons.begin(), reasons.end(), entry.reason) != reasons.end();
  };
  return std::any_of(error.errors.begin(), error.errors.end(), gives) ||
         std::any_of(error.details.begin(), error.details.end(), gives);
}

std::string_view advice(int httpStatus) {
  if (httpStatus >= 300 && httpStatus < 400)
    return "A redirection is not followed; check the address and the network’s proxy.";
  if (httpStatus == 401) return "Sign in again.";
  if (httpStatus == 403) return "The account or the network may not allow this.";
  if (httpStatus == 404) return "It does not exist, or this account may not see it.";
  if (httpStatus == 407) return "The network’s proxy wants a sign-in.";
  if (httpStatus == 429 || httpStatus >= 500) return "Try again later.";
  return "The request was not carried out.";
}

std::string httpDescription(int httpStatus, std::string_view host) {
  return std::string(host) + " answered with HTTP status " + std::to_string(httpStatus) +
         " and did not say why. " + std::string(advice(httpStatus));
}

}  // namespace

NSError googleError(const DriveErrorObject& error, int httpStatus, std::string_view host,
                    std::string_view secret) {
  auto code = error.code.value_or(httpStatus);
  if (code == 403 && isRateLimit(error)) code = 429;

  auto description = oneLine(error.message, secret);
  if (description.empty()) description = httpDescription(httpStatus, host);
  auto userInfo = described(std::move(description));
  if (auto advice = adviceFor(error); !advice.empty())
    userInfo.emplace(NSLocalizedRecoverySuggestionErrorKey, std::move(advice));
  userInfo.emplace(GTLRStructuredErrorKey,
                   std::shared_ptr<const Printable>(std::make_shared<StructuredError>(error, secret)));
  return {GTLRErrorObjectDomain, code, std::move(userInfo)};
}

NSError httpError(int httpStatus, std::string_view host) {
  return {GTLRServiceErrorDomain, httpStatus, described(httpDescription(httpStatus, host))};
}

NSError notJSONError(std::string_view host) {
  return urlError::make(urlError::cannotParseResponse,
                        "The answer from " + std::string(host) + " is not one of Google Drive’s",
                        "a network’s sign-in page may be in the way",
                        "Open any web page in a browser, sign in to the network, and try again.");
}

NSError refusedQuery(std::string_view reason) {
  return {GTLRServiceErrorDomain, refusedQueryCode, described(std::string(reason) + " Nothing was sent.")};
}

NSError missingAuthorizerError() {
  return urlError::make(userAuthenticationRequired, "Nothing was sent",
                        "the Drive service has no session to sign its requests with", "Sign in first.");
}

NSError unableToSendError(std::string_view host, std::string_view reason) {
  return urlError::make(urlError::cannotConnectToHost, "Could not ask " + std::string(host), reason,
                        "Try again later.");
}

const NSError& droppedTokenError() {
  // Never destroyed: a worker may read it while the process ends.
  static const auto& error = *new const NSError(urlError::make(
      urlError::cancelled, "Nothing was sent",
      "the account's session gave up the request for an access token", "Try again."));
  return error;
}

const NSError& outOfMemoryError() {
  // Never destroyed: a worker may read it while the process ends.
  static const auto& error = *new const NSError(
      posixErrorDomain, ENOMEM, described("There is not enough memory to read the answer of Google Drive."));
  return error;
}

}  // namespace corvane
