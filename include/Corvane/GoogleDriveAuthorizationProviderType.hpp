#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/GoogleDriveAccountModel.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>
#include <Corvane/Void.hpp>

namespace corvane {

/// Signs users in to Google Drive through the browser, and out again.
class GoogleDriveAuthorizationProviderType {
 public:
  virtual ~GoogleDriveAuthorizationProviderType() = default;

  /// Presents a sign-in over the host's window and stores the session of the account that signed in.
  ///
  /// Lifetime: nothing is presented before somebody subscribes; each subscription is a sign-in of its own.
  /// The provider may be dropped meanwhile.
  /// Threads: subscribe on the thread that owns the window. Callbacks come on a thread of the
  /// platform's pool, but a sign-in that cannot start (no credentials, no window, no memory) fails
  /// at once, within `sink` and on the subscribing thread.
  /// Cancellation: takes the sign-in down at once, silently.
  /// Errors: one case for each way to fail, with a sentence for the user. Nothing is retried.
  virtual AnyPublisher<GoogleDriveAccountModel, GoogleDriveAuthorizationProviderError> signIn() = 0;

  /// Removes the account's session from the keychain. The grant at Google stays as it is.
  ///
  /// Lifetime: each subscription removes once; the removal runs to its end even if the subscription is
  /// cancelled.
  /// Threads: work and callbacks run on the task pool; a removal that the pool cannot take fails at
  /// once, on the subscribing thread.
  /// Errors: the keychain's, unchanged; an account without a session fails.
  virtual AnyPublisher<Void> signOut(GoogleDriveAccountModel account) = 0;
};

}  // namespace corvane
