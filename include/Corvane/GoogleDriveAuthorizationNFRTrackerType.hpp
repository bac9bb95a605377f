#pragma once

#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>
#include <Corvane/Result.hpp>
#include <Corvane/Void.hpp>

namespace corvane {

/// Implemented by the host to measure sign-ins. Called from any thread; an exception ends the program.
class GoogleDriveAuthorizationNFRTrackerType {
 public:
  virtual ~GoogleDriveAuthorizationNFRTrackerType() = default;

  /// `signIn()` was called, on the calling thread.
  virtual void trackSignInStarted() = 0;

  /// A sign-in ended, on the thread where it did and before its subscriber learns of it. Not called for a
  /// cancelled one, nor when the provider is gone.
  virtual void trackSignInFinished(const Result<Void, GoogleDriveAuthorizationProviderError>& result) = 0;
};

}  // namespace corvane
