#include <Corvane/ErrorKind.hpp>
#include <Corvane/GoogleAccountsStoreError.hpp>
#include <Corvane/GoogleDriveAPIError.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>
#include <CorvanePlatform/DriveService.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>
#include <CorvanePlatform/SessionArchive.hpp>
#include <CorvanePlatform/SessionServerMismatchError.hpp>
#include <CorvanePlatform/SignInService.hpp>

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "GoogleDriveAPI/GoogleDriveAPIRequestError.hpp"

using namespace corvane;

namespace {

using SignIn = GoogleDriveAuthorizationProviderError;

AnyError url(std::int64_t code) {
  return NSError(NSURLErrorDomain, code);
}
AnyError drive(std::int64_t code) {
  return NSError(GTLRErrorObjectDomain, code);
}
AnyError status(OSStatus code) {
  return NSError(NSOSStatusErrorDomain, code);
}
AnyError token(const char* reason) {
  return NSError(oauthTokenErrorDomain, 0,
                 {{std::string(oauthErrorResponseKey), UserInfo{{"error", reason}}}});
}
AnyError refusal(const char* reason) {
  return NSError(oauthAuthorizationErrorDomain, 0,
                 {{std::string(oauthErrorResponseKey), UserInfo{{"error", reason}}}});
}
AnyError wrapped(AnyError underlying) {
  return GoogleDriveAPIRequestError{"ada@example.com", std::nullopt, std::move(underlying)};
}

}  // namespace

TEST(ErrorKind, SortsWhatTheNetworkDid) {
  for (const auto code : {-1001, -1003, -1004, -1005, -1009, -1011, -1200})
    EXPECT_EQ(errorKind(url(code)), ErrorKind::temporary) << code;
  EXPECT_EQ(errorKind(url(-999)), ErrorKind::cancelled);
  EXPECT_EQ(errorKind(url(-1017)), ErrorKind::invalidResponse);
  EXPECT_EQ(errorKind(url(-1103)), ErrorKind::invalidResponse);
  EXPECT_EQ(errorKind(url(-1202)), ErrorKind::other);
}

TEST(ErrorKind, SortsWhatDriveSaid) {
  for (const auto code : {429, 500, 502, 503, 504})
    EXPECT_EQ(errorKind(drive(code)), ErrorKind::temporary) << code;
  EXPECT_EQ(errorKind(drive(401)), ErrorKind::notSignedIn);
  EXPECT_EQ(errorKind(drive(403)), ErrorKind::permission);
  EXPECT_EQ(errorKind(drive(404)), ErrorKind::notFound);
  EXPECT_EQ(errorKind(drive(400)), ErrorKind::other);
  EXPECT_EQ(errorKind(NSError(GTLRServiceErrorDomain, 503)), ErrorKind::temporary);
  EXPECT_EQ(errorKind(NSError("Another.Domain", 503)), ErrorKind::other);
}

TEST(ErrorKind, SaysSignInAgainWhenTheGrantIsNoLongerValid) {
  EXPECT_EQ(errorKind(token("invalid_grant")), ErrorKind::notSignedIn);
  EXPECT_EQ(errorKind(token("invalid_request")), ErrorKind::other);
  EXPECT_EQ(errorKind(NSError(oauthTokenErrorDomain, 0)), ErrorKind::other);
}

TEST(ErrorKind, SaysSignInAgainWhenARefreshIsRefusedForItsClient) {
  for (const auto* refusal : {"invalid_client", "unauthorized_client", "deleted_client"}) {
    EXPECT_EQ(errorKind(token(refusal)), ErrorKind::notSignedIn) << refusal;
    EXPECT_EQ(errorKind(wrapped(token(refusal))), ErrorKind::notSignedIn) << refusal;
    EXPECT_EQ(errorKind(SignIn::signInFailed(token(refusal))), ErrorKind::other) << refusal;
  }
}

TEST(ErrorKind, SortsWhatTheKeychainSaid) {
  EXPECT_EQ(errorKind(KeychainStoreError::passwordNotFound("s")), ErrorKind::notSignedIn);
  EXPECT_EQ(errorKind(GoogleAccountsStoreError::keysNotFound("s")), ErrorKind::notSignedIn);
  EXPECT_EQ(errorKind(status(errSecInteractionNotAllowed)), ErrorKind::keychainLocked);
  EXPECT_EQ(errorKind(KeychainStoreError::unhandled(errSecInteractionNotAllowed)), ErrorKind::keychainLocked);
  EXPECT_EQ(errorKind(status(errSecUserCanceled)), ErrorKind::cancelled);
  EXPECT_EQ(errorKind(status(errSecNotAvailable)), ErrorKind::keychainUnavailable);
  EXPECT_EQ(errorKind(GoogleAccountsStoreError::unexpectedKeys("s")), ErrorKind::keychainUnavailable);
}

TEST(ErrorKind, CallsAnUnreadableSessionAnUnavailableKeychain) {
  EXPECT_EQ(errorKind(NSError(sessionArchiveErrorDomain, 1)), ErrorKind::keychainUnavailable);
}

TEST(ErrorKind, CallsASessionForAnotherServerNotSignedIn) {
  const SessionServerMismatchError mismatch("www.googleapis.com", "127.0.0.1:4711");
  EXPECT_EQ(errorKind(mismatch), ErrorKind::notSignedIn);
  EXPECT_EQ(errorKind(AnyError(mismatch).nsError()), ErrorKind::notSignedIn);
  EXPECT_EQ(errorKind(wrapped(mismatch)), ErrorKind::notSignedIn);
}

TEST(ErrorKind, SortsHowASignInFailed) {
  EXPECT_EQ(errorKind(SignIn::userCancelled()), ErrorKind::cancelled);
  EXPECT_EQ(errorKind(SignIn::accessDenied()), ErrorKind::permission);
  EXPECT_EQ(errorKind(SignIn::missingRequiredScopes()), ErrorKind::permission);
  EXPECT_EQ(errorKind(SignIn::tokenSaveFailed()), ErrorKind::keychainUnavailable);
  EXPECT_EQ(errorKind(SignIn::missingCredentials()), ErrorKind::other);
  EXPECT_EQ(errorKind(SignIn::presentingWindowUnavailable()), ErrorKind::other);
  EXPECT_EQ(errorKind(SignIn::signInFailedUnknown()), ErrorKind::other);
  EXPECT_EQ(errorKind(SignIn::signInFailed(url(-1001))), ErrorKind::temporary);
}

TEST(ErrorKind, SortsWhatTheSignInPageHandedBack) {
  const std::vector<std::pair<const char*, ErrorKind>> table{
      {"server_error", ErrorKind::temporary},
      {"temporarily_unavailable", ErrorKind::temporary},
      {"admin_policy_enforced", ErrorKind::permission},
      {"org_internal", ErrorKind::permission},
      {"login_required", ErrorKind::other},
      {"invalid_scope", ErrorKind::other},
      {"never_heard_of", ErrorKind::other},
  };
  for (const auto& [reason, kind] : table)
    EXPECT_EQ(errorKind(SignIn::signInFailed(refusal(reason))), kind) << reason;
  EXPECT_EQ(errorKind(NSError(oauthAuthorizationErrorDomain, -7)), ErrorKind::other);
}

TEST(ErrorKind, AsksForAnotherSignInAfterTheWrongAccount) {
  const NSError other(signInServiceErrorDomain, signInOtherAccountCode);
  EXPECT_EQ(errorKind(SignIn::signInFailed(other)), ErrorKind::notSignedIn);
  EXPECT_EQ(errorKind(SignIn::signInFailed(NSError(signInServiceErrorDomain, signInTimedOutCode))),
            ErrorKind::other);
}

TEST(ErrorKind, LooksThroughWrappers) {
  EXPECT_EQ(errorKind(wrapped(url(-1001))), ErrorKind::temporary);
  EXPECT_EQ(errorKind(wrapped(drive(404))), ErrorKind::notFound);
  EXPECT_EQ(errorKind(wrapped(KeychainStoreError::passwordNotFound("s"))), ErrorKind::notSignedIn);
  EXPECT_EQ(errorKind(wrapped(token("invalid_grant"))), ErrorKind::notSignedIn);
}

TEST(ErrorKind, CallsAnUnconvertibleAnswerAnInvalidResponse) {
  EXPECT_EQ(errorKind(GoogleDriveAPIError::convertAbout), ErrorKind::invalidResponse);
  EXPECT_EQ(errorKind(GoogleDriveAPIError::convertFilesList), ErrorKind::invalidResponse);
}

TEST(KeychainStatus, IsTheStatusBehindEveryKeychainError) {
  const std::vector<std::pair<AnyError, OSStatus>> table{
      {KeychainStoreError::unhandled(-25308), -25308},
      {KeychainStoreError::passwordNotFound("s"), errSecItemNotFound},
      {KeychainStoreError::failedToDeletePasswordBecauseItemNotFound("s"), errSecItemNotFound},
      {KeychainStoreError::unexpectedPasswordData("s"), errSecDecode},
      {KeychainStoreError::noService(), errSecParam},
      {GoogleAccountsStoreError::unhandled(-34018), -34018},
      {GoogleAccountsStoreError::keysNotFound("s"), errSecItemNotFound},
      {GoogleAccountsStoreError::unexpectedKeys("s"), errSecDecode},
      {status(-25293), -25293},
      {wrapped(status(-25293)), -25293},
      {wrapped(KeychainStoreError::unhandled(-25308)), -25308},
  };
  for (const auto& [error, expected] : table)
    EXPECT_EQ(keychainStatus(error), expected) << error.localizedDescription();
}

TEST(KeychainStatus, IsAbsentForOtherErrors) {
  EXPECT_EQ(keychainStatus(url(-1001)), std::nullopt);
  EXPECT_EQ(keychainStatus(wrapped(drive(404))), std::nullopt);
  EXPECT_EQ(keychainStatus(GoogleDriveAPIError::convertAbout), std::nullopt);
}
