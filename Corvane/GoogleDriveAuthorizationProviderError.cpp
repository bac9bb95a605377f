#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>

namespace corvane {

std::optional<std::string> GoogleDriveAuthorizationProviderError::errorDescription() const {
  switch (case_) {
    case Case::signInFailed:
      return "Google Drive sign-in failed: " + underlying_->localizedDescription();
    case Case::missingCredentials:
      return "Google Drive authorization failed: Missing or invalid credentials.";
    case Case::presentingWindowUnavailable:
      return "Google Drive authorization failed: No window available to present the authentication session.";
    case Case::tokenSaveFailed:
      return "Google Drive authorization failed: Unable to save authentication token.";
    case Case::missingRequiredScopes:
      return "Google Drive authorization failed: Required scopes were not granted.";
    case Case::accessDenied:
      return "Google Drive authorization failed: Access was denied by the user.";
    case Case::userCancelled:
      return "Google Drive authorization was cancelled by the user.";
    case Case::signInFailedUnknown:
      break;
  }
  return "Google Drive sign-in failed: Unknown error.";
}

}  // namespace corvane
