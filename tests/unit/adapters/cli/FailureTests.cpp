#include "Failure.hpp"
#include "KeychainWords.hpp"

#include <Corvane/GoogleDriveAPIError.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace corvane::cli::test {
namespace {

using testing::HasSubstr;

TEST(ExitCode, EveryKindOfErrorHasItsCodeAndName) {
  const auto expect = [](ErrorKind kind, int code, std::string_view name) {
    EXPECT_EQ(static_cast<int>(exitCode(kind)), code) << name;
    EXPECT_EQ(kindName(kind), name);
  };
  expect(ErrorKind::notSignedIn, 4, "notSignedIn");
  expect(ErrorKind::cancelled, 130, "cancelled");
  expect(ErrorKind::temporary, 5, "temporary");
  expect(ErrorKind::permission, 6, "permission");
  expect(ErrorKind::notFound, 3, "notFound");
  expect(ErrorKind::keychainLocked, 7, "keychainLocked");
  expect(ErrorKind::keychainUnavailable, 7, "keychainUnavailable");
  expect(ErrorKind::invalidResponse, 1, "invalidResponse");
  expect(ErrorKind::other, 1, "other");
}

AnyError driveError(int code, const char* message) {
  return NSError("com.google.GTLRErrorObjectDomain", code,
                 {{std::string(NSLocalizedDescriptionKey), message}});
}

TEST(Failure, DriveErrorTellsItsTextAndKeepsItsDomainAndCode) {
  const Failure failure = Failure::of(driveError(404, "File not found: 1AbC."), "delete 1AbC",
                                      KeychainBackend::secretService, "1AbC");
  EXPECT_EQ(failure.fileID, "1AbC");
  EXPECT_EQ(failure.exitCode, ExitCode::notFound);
  EXPECT_EQ(failure.headline, "Could not delete 1AbC.");
  EXPECT_EQ(failure.why, "File not found: 1AbC.");
  EXPECT_THAT(failure.remedy, HasSubstr("corvane ls"));
  EXPECT_EQ(failure.domain, "com.google.GTLRErrorObjectDomain");
  EXPECT_EQ(failure.code, 404);
}

TEST(Failure, AdviceOnFilesIsGivenOnlyWhereItIsAboutAFile) {
  EXPECT_EQ(Failure::of(driveError(404, "Not Found"), "read the profile and quota of ada@example.com").remedy,
            "");
  EXPECT_THAT(Failure::of(driveError(403, "Forbidden"), "list the files of ada@example.com").remedy,
              testing::Not(HasSubstr("file")));
  EXPECT_THAT(
      Failure::of(driveError(403, "Forbidden"), "delete 1AbC", KeychainBackend::secretService, "1AbC").remedy,
      HasSubstr("the file's owner"));
}

TEST(Failure, ErrorsOwnSuggestionIsPreferred) {
  const NSError error(NSURLErrorDomain, -1003,
                      {{std::string(NSLocalizedDescriptionKey), "No such host."},
                       {std::string(NSLocalizedRecoverySuggestionErrorKey), "Check the name."}});
  const Failure failure = Failure::of(error, "list");
  EXPECT_EQ(failure.exitCode, ExitCode::temporary);
  EXPECT_EQ(failure.remedy, "Check the name.");
}

TEST(Failure, AdviceWithinADescriptionIsToldOnce) {
  const NSError error(
      NSURLErrorDomain, -1003,
      {{std::string(NSLocalizedDescriptionKey), "Could not find the host: no address. Check the name."},
       {std::string(NSLocalizedFailureReasonErrorKey), "no address"},
       {std::string(NSLocalizedRecoverySuggestionErrorKey), "Check the name."}});
  const Failure failure = Failure::of(error, "list");
  EXPECT_EQ(failure.why, "Could not find the host: no address.");
  EXPECT_EQ(failure.remedy, "Check the name.");
}

TEST(Failure, WrapperOfAListingIsToldByItsCauseToPeopleAndWholeToPrograms) {
  const NSError wrapped(
      "GoogleDriveAPIRequestError", 503,
      {{std::string(NSUnderlyingErrorKey), driveError(503, "Backend error.")},
       {std::string(NSLocalizedDescriptionKey), "Google Drive files.list failed. account=a"}});
  const Failure failure = Failure::of(wrapped, "list the files");
  EXPECT_EQ(failure.exitCode, ExitCode::temporary);
  EXPECT_EQ(failure.why, "Backend error.");
  EXPECT_EQ(failure.domain, "GoogleDriveAPIRequestError");
  EXPECT_EQ(failure.message, "Google Drive files.list failed. account=a");
}

TEST(Failure, FailedSignInIsToldByItsCause) {
  const auto error = GoogleDriveAuthorizationProviderError::signInFailed(
      NSError(NSURLErrorDomain, -1004, {{std::string(NSLocalizedDescriptionKey), "Cannot connect."}}));
  const Failure failure = Failure::of(error, "sign in");
  EXPECT_EQ(failure.exitCode, ExitCode::temporary);
  EXPECT_EQ(failure.why, "Cannot connect.");
  EXPECT_EQ(failure.message, "Google Drive sign-in failed: Cannot connect.");
}

TEST(Failure, RefusedConsentSaysHowToGrantIt) {
  const Failure denied = Failure::of(GoogleDriveAuthorizationProviderError::accessDenied(), "sign in");
  EXPECT_EQ(denied.exitCode, ExitCode::permission);
  EXPECT_THAT(denied.remedy, HasSubstr("allow the access"));
  const Failure partial =
      Failure::of(GoogleDriveAuthorizationProviderError::missingRequiredScopes(), "sign in");
  EXPECT_EQ(partial.exitCode, ExitCode::permission);
  EXPECT_THAT(partial.remedy, HasSubstr("box for Google Drive"));
}

TEST(Failure, UnsavedSessionIsTheKeychainsFault) {
  EXPECT_EQ(Failure::of(GoogleDriveAuthorizationProviderError::tokenSaveFailed(), "sign in").exitCode,
            ExitCode::keychain);
}

AnyError keychainError(OSStatus status) {
  return NSError(NSOSStatusErrorDomain, status,
                 {{std::string(NSLocalizedDescriptionKey), "Keychain add failed"}});
}

TEST(Failure, LockedKeyringIsNeverToldAsNotSignedIn) {
  const Failure waited = Failure::of(keychainError(errSecInteractionNotAllowed), "list");
  EXPECT_EQ(waited.exitCode, ExitCode::keychain);
  EXPECT_EQ(waited.kind, "keychainLocked");
  EXPECT_THAT(waited.why, HasSubstr("locked"));
  EXPECT_THAT(waited.remedy, HasSubstr("Unlock the keyring"));
  const Failure dismissed = Failure::of(keychainError(errSecUserCanceled), "list");
  EXPECT_EQ(dismissed.exitCode, ExitCode::keychain);
  EXPECT_EQ(dismissed.kind, "cancelled");
  EXPECT_THAT(dismissed.why, HasSubstr("dismissed"));
}

TEST(Failure, SessionStoredMeanwhileIsToldInBothKeychains) {
  for (const auto keychain : {KeychainBackend::secretService, KeychainBackend::encryptedFile}) {
    EXPECT_THAT(keychainReason(errSecDuplicateItem, keychain), HasSubstr("at the same moment"));
    EXPECT_THAT(keychainRemedy(errSecDuplicateItem, keychain), HasSubstr("corvane accounts"));
  }
}

TEST(Failure, UnreachableKeyringNamesBothWaysOutAndTheFileOnlyItsFolder) {
  const auto error = keychainError(errSecNotAvailable);
  const Failure keyring = Failure::of(error, "list", KeychainBackend::secretService);
  EXPECT_EQ(keyring.exitCode, ExitCode::keychain);
  EXPECT_EQ(keyring.message, "Keychain add failed");
  EXPECT_THAT(keyring.remedy, testing::AllOf(HasSubstr("gnome-keyring"), HasSubstr("--keychain file")));
  const Failure file = Failure::of(error, "list", KeychainBackend::encryptedFile);
  EXPECT_THAT(file.remedy, testing::AllOf(HasSubstr("folder"), testing::Not(HasSubstr("gnome-keyring"))));
}

std::string remedyOfTheFile(OSStatus status) {
  const Failure failure = Failure::of(keychainError(status), "list", KeychainBackend::encryptedFile);
  EXPECT_EQ(failure.exitCode, ExitCode::keychain) << status;
  EXPECT_THAT(failure.remedy, testing::Not(HasSubstr("--log-level"))) << status;
  return failure.remedy;
}

TEST(Failure, LostKeyOfTheFileIsToBePutBack) {
  const auto failure = Failure::of(keychainError(errSecAuthFailed), "list", KeychainBackend::encryptedFile);
  EXPECT_THAT(failure.why, testing::AllOf(HasSubstr("key"), HasSubstr("missing"), HasSubstr("incomplete")));
  EXPECT_THAT(remedyOfTheFile(errSecAuthFailed),
              testing::AllOf(HasSubstr("keychain.key back"), HasSubstr(".local/share/corvane"),
                             HasSubstr("move the folder away and sign in again"),
                             testing::Not(HasSubstr("readable by others"))));
}

TEST(Failure, DamageOfTheFileIsRepairedBySigningInOrByACopy) {
  const auto failure = Failure::of(keychainError(errSecDecode), "list", KeychainBackend::encryptedFile);
  EXPECT_THAT(failure.why,
              testing::AllOf(HasSubstr("session"), HasSubstr("file itself"), HasSubstr("damaged")));
  EXPECT_THAT(remedyOfTheFile(errSecDecode),
              testing::AllOf(testing::StartsWith("Sign in again"), HasSubstr("copy"),
                             testing::Not(HasSubstr("readable by others"))));
}

TEST(Failure, FileThatCannotBeWrittenOrIsRefusedHasRemediesOfItsOwn) {
  EXPECT_THAT(remedyOfTheFile(errSecIO), testing::AllOf(HasSubstr("disk"), HasSubstr("can be written")));
  EXPECT_THAT(remedyOfTheFile(errSecNotAvailable),
              testing::AllOf(HasSubstr("not readable by others"), HasSubstr("busy")));
}

TEST(Failure, AnswerThatCannotBeConvertedSaysWhatMayBeMissing) {
  const Failure failure = Failure::of(GoogleDriveAPIError::convertAbout, "read the quota");
  EXPECT_EQ(failure.exitCode, ExitCode::other);
  EXPECT_EQ(failure.kind, "invalidResponse");
  EXPECT_THAT(failure.why, HasSubstr("storage limit"));
}

TEST(Failure, UsageAndMissingSignInHaveTheirCodes) {
  EXPECT_EQ(Failure::usage("x").exitCode, ExitCode::usage);
  const Failure nobody = Failure::notSignedIn("No account is signed in.");
  EXPECT_EQ(nobody.exitCode, ExitCode::signInNeeded);
  EXPECT_THAT(nobody.remedy, HasSubstr("sign-in"));
}

}  // namespace
}  // namespace corvane::cli::test
