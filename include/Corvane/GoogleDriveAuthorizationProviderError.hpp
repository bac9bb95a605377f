#pragma once

#include <Corvane/AnyError.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// How a sign-in failed. Its localized description is a sentence for the user.
///
/// It cannot be compared: tell cases apart by `kind()`.
class GoogleDriveAuthorizationProviderError {
 public:
  /// In the order of their codes.
  enum class Case {
    signInFailed,
    missingCredentials,
    presentingWindowUnavailable,
    tokenSaveFailed,
    missingRequiredScopes,
    accessDenied,
    userCancelled,
    signInFailedUnknown,
  };

  /// `signInFailed` with this error: how a sign-in ends that could not be started.
  explicit GoogleDriveAuthorizationProviderError(AnyError underlying)
      : case_(Case::signInFailed), underlying_(std::move(underlying)) {}

  static GoogleDriveAuthorizationProviderError signInFailed(AnyError underlying) {
    return GoogleDriveAuthorizationProviderError(std::move(underlying));
  }
  static GoogleDriveAuthorizationProviderError missingCredentials() { return of(Case::missingCredentials); }
  static GoogleDriveAuthorizationProviderError presentingWindowUnavailable() {
    return of(Case::presentingWindowUnavailable);
  }
  static GoogleDriveAuthorizationProviderError tokenSaveFailed() { return of(Case::tokenSaveFailed); }
  static GoogleDriveAuthorizationProviderError missingRequiredScopes() {
    return of(Case::missingRequiredScopes);
  }
  static GoogleDriveAuthorizationProviderError accessDenied() { return of(Case::accessDenied); }
  static GoogleDriveAuthorizationProviderError userCancelled() { return of(Case::userCancelled); }
  static GoogleDriveAuthorizationProviderError signInFailedUnknown() { return of(Case::signInFailedUnknown); }

  Case kind() const { return case_; }
  /// What `signInFailed` carries; empty in every other case.
  const std::optional<AnyError>& underlying() const { return underlying_; }

  int caseNumber() const { return static_cast<int>(case_); }
  /// Never empty.
  std::optional<std::string> errorDescription() const;

 private:
  explicit GoogleDriveAuthorizationProviderError(Case which) : case_(which) {}
  static GoogleDriveAuthorizationProviderError of(Case which) {
    return GoogleDriveAuthorizationProviderError(which);
  }

  Case case_;
  std::optional<AnyError> underlying_;
};

constexpr std::string_view errorTypeName(const GoogleDriveAuthorizationProviderError&) {
  return "Corvane.GoogleDriveAuthorizationProviderError";
}

}  // namespace corvane
