#include "SignInErrorMapping.hpp"

#include <CorvanePlatform/SignInService.hpp>

#include <string>

namespace corvane {

namespace {

bool isMissingScopes(const NSError& error) {
  return error.domain() == signInServiceErrorDomain && error.code() == signInMissingScopesCode;
}

// RFC 6749, section 4.1.2.1: the response's "error" says that the owner or the server said no.
bool isAccessDenied(const NSError& error) {
  if (error.domain() != oauthAuthorizationErrorDomain) return false;
  const auto response = error.userInfo().find(std::string(oauthErrorResponseKey));
  if (response == error.userInfo().end() || !response->second.dictionary()) return false;
  const auto& members = *response->second.dictionary();
  const auto reason = members.find("error");
  return reason != members.end() && reason->second.text() && *reason->second.text() == "access_denied";
}

bool isUserCancellation(const NSError& error) {
  if (error.domain() != oauthGeneralErrorDomain || error.code() != oauthUserCancelledCode) return false;
  const AnyError* underlying = error.underlyingError();
  return underlying && underlying->domain() == webAuthenticationSessionErrorDomain &&
         underlying->code() == webAuthenticationCancelledCode;
}

}  // namespace

GoogleDriveAuthorizationProviderError mapSignInError(const std::optional<NSError>& error) {
  using Error = GoogleDriveAuthorizationProviderError;
  if (!error) return Error::signInFailedUnknown();
  if (isMissingScopes(*error)) return Error::missingRequiredScopes();
  if (isAccessDenied(*error)) return Error::accessDenied();
  if (isUserCancellation(*error)) return Error::userCancelled();
  return Error::signInFailed(*error);
}

}  // namespace corvane
