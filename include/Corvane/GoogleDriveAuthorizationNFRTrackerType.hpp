#pragma once

#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>
#include <Corvane/Result.hpp>
#include <Corvane/Void.hpp>

namespace corvane {

/// Implemented by the host to measure sign-ins.
///
/// Threads: any. Errors: an exception that leaves either operation ends the program, whichever
/// thread it is on.
class GoogleDriveAuthorizationNFRTrackerType {
 public:
  virtual ~GoogleDriveAuthorizationNFRTrackerType() = default;

  /// `signIn()` was called, on the calling thread.
  virtual void trackSignInStarted() = 0;

  /// A sign-in ended, on the thread where it did and before its subscriber learns of it. Not called
  /// for a cancelled one, nor when the provider is gone. Of an end and a `cancel()` on another
  /// thread the first to come wins: a call that has been decided on may still finish after
  /// `cancel()` has returned.
  virtual void trackSignInFinished(const Result<Void, GoogleDriveAuthorizationProviderError>& result) = 0;
};

}  // namespace corvane
