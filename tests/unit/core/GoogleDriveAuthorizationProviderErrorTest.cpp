#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>

#include <gtest/gtest.h>

#include <concepts>
#include <string>
#include <vector>

using namespace corvane;

namespace {

using Error = GoogleDriveAuthorizationProviderError;

Error failedWith(const char* description) {
  return Error::signInFailed(NSError("D", 1, {{std::string(NSLocalizedDescriptionKey), description}}));
}

}  // namespace

// Two values of this type cannot be compared with each other: cases are told apart by `kind()`.
static_assert(!std::equality_comparable<GoogleDriveAuthorizationProviderError>);

TEST(GoogleDriveAuthorizationProviderError, EachCaseSaysItsOwnSentence) {
  EXPECT_EQ(failedWith("No.").errorDescription(), "Google Drive sign-in failed: No.");
  EXPECT_EQ(Error::missingCredentials().errorDescription(),
            "Google Drive authorization failed: Missing or invalid credentials.");
  EXPECT_EQ(Error::presentingWindowUnavailable().errorDescription(),
            "Google Drive authorization failed: No window available to present the authentication session.");
  EXPECT_EQ(Error::tokenSaveFailed().errorDescription(),
            "Google Drive authorization failed: Unable to save authentication token.");
  EXPECT_EQ(Error::missingRequiredScopes().errorDescription(),
            "Google Drive authorization failed: Required scopes were not granted.");
  EXPECT_EQ(Error::accessDenied().errorDescription(),
            "Google Drive authorization failed: Access was denied by the user.");
  EXPECT_EQ(Error::userCancelled().errorDescription(),
            "Google Drive authorization was cancelled by the user.");
  EXPECT_EQ(Error::signInFailedUnknown().errorDescription(), "Google Drive sign-in failed: Unknown error.");
}

TEST(GoogleDriveAuthorizationProviderError, SignInFailedOverAnEmptyDescriptionEndsWithTheBlank) {
  EXPECT_EQ(failedWith("").errorDescription(), "Google Drive sign-in failed: ");
}

TEST(GoogleDriveAuthorizationProviderError, UserCancelledDoesNotStartWithAuthorizationFailed) {
  EXPECT_FALSE(Error::userCancelled().errorDescription()->starts_with("Google Drive authorization failed: "));
}

TEST(GoogleDriveAuthorizationProviderError, CarriesAnUnderlyingErrorOnlyInSignInFailed) {
  EXPECT_EQ(failedWith("No.").underlying()->domain(), "D");
  EXPECT_FALSE(Error::tokenSaveFailed().underlying());
}

TEST(GoogleDriveAuthorizationProviderError, BridgesByDefaultWithItsSentenceAsTheDescriptionAndNothingElse) {
  const std::vector<Error> inOrder{
      failedWith("No."),        Error::missingCredentials(),    Error::presentingWindowUnavailable(),
      Error::tokenSaveFailed(), Error::missingRequiredScopes(), Error::accessDenied(),
      Error::userCancelled(),   Error::signInFailedUnknown()};
  for (std::size_t i = 0; i < inOrder.size(); ++i) {
    const NSError bridged = AnyError(inOrder[i]).nsError();
    EXPECT_EQ(bridged.domain(), "Corvane.GoogleDriveAuthorizationProviderError");
    EXPECT_EQ(bridged.code(), static_cast<std::int64_t>(i));
    EXPECT_EQ(bridged.localizedDescription(), inOrder[i].errorDescription());
    EXPECT_EQ(bridged.localizedFailureReason(), std::nullopt);
    EXPECT_EQ(bridged.localizedRecoverySuggestion(), std::nullopt);
    EXPECT_EQ(bridged.userInfo().size(), 1u);
  }
}
