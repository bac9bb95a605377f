#include <Corvane/ErrorKind.hpp>

#include <Corvane/GoogleAccountsStoreError.hpp>
#include <Corvane/GoogleDriveAPIError.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>
#include <CorvanePlatform/DriveService.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>
#include <CorvanePlatform/SessionArchive.hpp>
#include <CorvanePlatform/SessionServerMismatchError.hpp>
#include <CorvanePlatform/SignInService.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace corvane {

namespace {

ErrorKind kindOfStatus(OSStatus status) {
  switch (status) {
    case errSecItemNotFound:
      return ErrorKind::notSignedIn;
    case errSecUserCanceled:
      return ErrorKind::cancelled;
    case errSecInteractionNotAllowed:
      return ErrorKind::keychainLocked;
    default:
      return ErrorKind::keychainUnavailable;
  }
}

// The OAuth error that the authorization server refused with; empty for any other error.
std::string_view serverRefusal(const NSError& error) {
  if (error.domain() != oauthTokenErrorDomain && error.domain() != oauthAuthorizationErrorDomain) return {};
  const auto response = error.userInfo().find(std::string(oauthErrorResponseKey));
  if (response == error.userInfo().end() || !response->second.dictionary()) return {};
  const auto& members = *response->second.dictionary();
  const auto reason = members.find("error");
  return reason != members.end() && reason->second.text() ? *reason->second.text()
                                                          : std::string_view();
}

// RFC 6749 section 5.2; "deleted_client" is Google's.
bool refusesClient(std::string_view refusal) {
  return refusal == "invalid_client" || refusal == "unauthorized_client" ||
         refusal == "deleted_client";
}

ErrorKind kindOfSignIn(const GoogleDriveAuthorizationProviderError& error) {
  using Case = GoogleDriveAuthorizationProviderError::Case;
  switch (error.kind()) {
    case Case::userCancelled:
      return ErrorKind::cancelled;
    case Case::missingRequiredScopes:
    case Case::accessDenied:
      return ErrorKind::permission;
    case Case::tokenSaveFailed:
      return ErrorKind::keychainUnavailable;
    case Case::signInFailed:
      // The client is the program's own here: the same sign-in would fail again.
      if (refusesClient(serverRefusal(error.underlying()->nsError()))) return ErrorKind::other;
      return errorKind(*error.underlying());
    default:
      return ErrorKind::other;
  }
}

// Drive's HTTP statuses (Drive API v3, "Resolve errors"); a rate limit arrives as 429.
ErrorKind kindOfDriveCode(std::int64_t code) {
  switch (code) {
    case 401:
      return ErrorKind::notSignedIn;
    case 403:
      return ErrorKind::permission;
    case 404:
      return ErrorKind::notFound;
    case 429:
    case 500:
    case 502:
    case 503:
    case 504:
      return ErrorKind::temporary;
    default:
      return ErrorKind::other;
  }
}

ErrorKind kindOfNetworkCode(std::int64_t code) {
  switch (code) {
    case NSURLErrorCancelled:
      return ErrorKind::cancelled;
    case -1001:  // timed out
    case -1003:  // host not found
    case -1004:  // cannot connect
    case -1005:  // connection lost
    case -1009:  // no network
    case -1011:  // bad server response
    case -1200:  // no secure connection
      return ErrorKind::temporary;
    case -1017:  // cannot be parsed
    case -1103:  // too large
      return ErrorKind::invalidResponse;
    default:
      return ErrorKind::other;
  }
}

// A refresh is refused for its grant, which has expired or was revoked, or for the client that the
// session was made with, which the program may have replaced. Only a new sign-in helps.
ErrorKind kindOfRefresh(std::string_view refusal) {
  return refusal == "invalid_grant" || refusesClient(refusal) ? ErrorKind::notSignedIn
                                                              : ErrorKind::other;
}

// RFC 6749, section 4.1.2.1, and Google's guide for installed apps, "Authorization errors".
ErrorKind kindOfRefusal(std::string_view refusal) {
  if (refusal == "server_error" || refusal == "temporarily_unavailable") return ErrorKind::temporary;
  if (refusal == "access_denied" || refusal == "admin_policy_enforced" || refusal == "org_internal")
    return ErrorKind::permission;
  return ErrorKind::other;
}

ErrorKind kindOfBridged(const NSError& error) {
  if (error.domain() == NSURLErrorDomain) return kindOfNetworkCode(error.code());
  if (error.domain() == GTLRErrorObjectDomain || error.domain() == GTLRServiceErrorDomain)
    return kindOfDriveCode(error.code());
  if (error.domain() == sessionArchiveErrorDomain) return ErrorKind::keychainUnavailable;
  if (error.domain() == oauthTokenErrorDomain) return kindOfRefresh(serverRefusal(error));
  if (error.domain() == oauthAuthorizationErrorDomain) return kindOfRefusal(serverRefusal(error));
  if (error.domain() == signInServiceErrorDomain && error.code() == signInOtherAccountCode)
    return ErrorKind::notSignedIn;
  return ErrorKind::other;
}

}  // namespace

std::optional<OSStatus> keychainStatus(const AnyError& error) {
  if (const auto stored = error.as<KeychainStoreError>()) {
    using Case = KeychainStoreError::Case;
    switch (stored->kind()) {
      case Case::unhandled:
        return stored->status();
      case Case::passwordNotFound:
      case Case::failedToDeletePasswordBecauseItemNotFound:
        return errSecItemNotFound;
      case Case::unexpectedPasswordData:
        return errSecDecode;
      case Case::noService:
        return errSecParam;
    }
  }
  if (const auto listed = error.as<GoogleAccountsStoreError>()) {
    using Case = GoogleAccountsStoreError::Case;
    if (listed->kind() == Case::unhandled) return listed->status();
    return listed->kind() == Case::keysNotFound ? errSecItemNotFound : errSecDecode;
  }
  const NSError bridged = error.nsError();
  if (bridged.domain() == NSOSStatusErrorDomain) return static_cast<OSStatus>(bridged.code());
  return bridged.underlyingError() ? keychainStatus(*bridged.underlyingError()) : std::nullopt;
}

ErrorKind errorKind(const AnyError& error) {
  if (const auto signIn = error.as<GoogleDriveAuthorizationProviderError>()) return kindOfSignIn(*signIn);
  if (const auto status = keychainStatus(error)) return kindOfStatus(*status);
  if (error.as<GoogleDriveAPIError>()) return ErrorKind::invalidResponse;
  // The keychain works and the session is whole. At the servers that are set up the account is not
  // signed in, and a sign-in is what helps.
  if (error.as<SessionServerMismatchError>()) return ErrorKind::notSignedIn;

  const NSError bridged = error.nsError();
  const ErrorKind kind = kindOfBridged(bridged);
  if (kind != ErrorKind::other || !bridged.underlyingError()) return kind;
  return errorKind(*bridged.underlyingError());
}

}  // namespace corvane
