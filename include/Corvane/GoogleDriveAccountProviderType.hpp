#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/GoogleDriveAccountModel.hpp>

#include <vector>

namespace corvane {

/// Tells which accounts are signed in on this machine.
class GoogleDriveAccountProviderType {
 public:
  virtual ~GoogleDriveAccountProviderType() = default;

  /// Reads the stored accounts, each once, in no particular order.
  ///
  /// Lifetime: the read starts with the call and runs to its end; every subscriber of the result gets the
  /// same one, also a late one.
  /// Threads: callbacks run on the task pool, or at once on the subscribing thread, which may be
  /// the main one, when the result is already in.
  /// Errors: the store's, unchanged; with nothing stored, GoogleAccountsStoreError's `keysNotFound`.
  virtual AnyPublisher<std::vector<GoogleDriveAccountModel>> getAccounts() = 0;
};

}  // namespace corvane
