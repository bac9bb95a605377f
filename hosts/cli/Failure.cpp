#include "Failure.hpp"

#include "KeychainWords.hpp"

#include <Corvane/GoogleAccountsStoreError.hpp>
#include <Corvane/GoogleDriveAPIError.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>

#include <utility>

namespace corvane::cli {
namespace {

constexpr std::string_view signInCommand = "`corvane --credentials FILE sign-in`";

/// The error that wrappers were put around: theirs repeat it in a form for logs.
AnyError unwrapped(const AnyError& error) {
  if (const auto signIn = error.as<GoogleDriveAuthorizationProviderError>(); signIn && signIn->underlying())
    return *signIn->underlying();
  const NSError view = error.nsError();
  if (view.domain() == "GoogleDriveAPIRequestError" && view.underlyingError()) return *view.underlyingError();
  return error;
}

/// Errors without a text of their own would only show their domain and number.
std::string reason(const AnyError& error, KeychainBackend keychain) {
  if (const auto api = error.as<GoogleDriveAPIError>())
    return "Google's answer lacks something that is needed (" +
           std::string(*api == GoogleDriveAPIError::convertAbout
                           ? "for example a storage limit or a profile picture"
                           : "the list of files") +
           ").";
  if (const auto status = keychainStatus(error))
    if (auto words = keychainReason(*status, keychain); !words.empty()) return words;
  const NSError view = error.nsError();
  std::string text = view.localizedDescription();
  if (const auto more = view.localizedFailureReason(); more && text.find(*more) == std::string::npos)
    text += " " + *more;
  // What to do is told on a line of its own.
  if (const auto advice = view.localizedRecoverySuggestion(); advice && !advice->empty())
    if (const auto found = text.rfind(" " + *advice); found != std::string::npos)
      text.erase(found, advice->size() + 1);
  return text;
}

std::string remedyFor(ErrorKind kind) {
  switch (kind) {
    case ErrorKind::notSignedIn:
      return "Sign in with " + std::string(signInCommand) + ".";
    case ErrorKind::temporary:
      return "Check the network and try again in a while.";
    case ErrorKind::permission:
      return "Sign in with an account that may do this.";
    case ErrorKind::notFound:
    case ErrorKind::keychainLocked:
    case ErrorKind::keychainUnavailable:
    case ErrorKind::cancelled:
    case ErrorKind::invalidResponse:
    case ErrorKind::other:
      break;
  }
  return {};
}

/// What else helps when it is about one file.
std::string remedyForFile(ErrorKind kind) {
  switch (kind) {
    case ErrorKind::permission:
      return "Ask the file's owner, or sign in with an account that may do this.";
    case ErrorKind::notFound:
      return "Compare the ID with those that `corvane ls` shows; the file may belong to another account.";
    default:
      return {};
  }
}

/// A sign-in was refused by the user, who can simply grant it the next time.
std::string remedyForSignIn(const GoogleDriveAuthorizationProviderError& error, KeychainBackend keychain) {
  switch (error.kind()) {
    case GoogleDriveAuthorizationProviderError::Case::accessDenied:
      return "Sign in again and allow the access when Google asks.";
    case GoogleDriveAuthorizationProviderError::Case::missingRequiredScopes:
      return "Sign in again and leave the box for Google Drive ticked.";
    case GoogleDriveAuthorizationProviderError::Case::tokenSaveFailed:
      return keychainRemedy(errSecNotAvailable, keychain);
    default:
      return {};
  }
}

}  // namespace

Failure Failure::usage(std::string what, std::string remedy) {
  Failure failure;
  failure.exitCode = ExitCode::usage;
  failure.kind = "usage";
  failure.headline = std::move(what);
  failure.remedy = std::move(remedy);
  return failure;
}

Failure Failure::notSignedIn(std::string what) {
  Failure failure;
  failure.exitCode = cli::exitCode(ErrorKind::notSignedIn);
  failure.kind = kindName(ErrorKind::notSignedIn);
  failure.headline = std::move(what);
  failure.remedy = remedyFor(ErrorKind::notSignedIn);
  return failure;
}

Failure Failure::interrupted() {
  Failure failure;
  failure.exitCode = ExitCode::interrupted;
  failure.kind = kindName(ErrorKind::cancelled);
  failure.headline = "Interrupted.";
  return failure;
}

Failure Failure::of(const AnyError& error, const std::string& doing, KeychainBackend keychain,
                    const std::string& fileID) {
  const AnyError cause = unwrapped(error);
  const ErrorKind kind = errorKind(error);
  Failure failure;
  failure.exitCode = cli::exitCode(kind);
  // A prompt that its user dismissed is the keyring's affair: the shell's 130 means Ctrl-C.
  if (keychainStatus(cause) == errSecUserCanceled) failure.exitCode = ExitCode::keychain;
  failure.kind = kindName(kind);
  failure.headline = "Could not " + doing + ".";
  failure.why = reason(cause, keychain);
  failure.ofKeychain = keychainStatus(cause);
  failure.domain = error.domain();
  failure.code = error.code();
  failure.message = error.localizedDescription();
  failure.fileID = fileID;

  if (const auto suggestion = cause.nsError().localizedRecoverySuggestion();
      suggestion && !suggestion->empty())
    failure.remedy = *suggestion;
  else if (const auto signIn = error.as<GoogleDriveAuthorizationProviderError>())
    failure.remedy = remedyForSignIn(*signIn, keychain);
  if (failure.remedy.empty() && !fileID.empty()) failure.remedy = remedyForFile(kind);
  if (failure.remedy.empty()) failure.remedy = remedyFor(kind);
  if (const auto status = keychainStatus(cause); failure.remedy.empty() && status)
    failure.remedy = keychainRemedy(*status, keychain);
  return failure;
}

}  // namespace corvane::cli
