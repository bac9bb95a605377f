#pragma once

#include <Corvane/GoogleDriveAPIType.hpp>
#include <Corvane/GoogleDriveAccountModel.hpp>
#include <Corvane/GoogleDriveAccountProviderType.hpp>
#include <Corvane/GoogleDriveAuthorizationNFRTrackerType.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderType.hpp>

#include <memory>

namespace corvane {

/// Makes the module's three services. None of its operations fails. Each call makes a new object,
/// all of which share one store of sessions and may outlive the factory.
class CorvaneFactoryType {
 public:
  virtual ~CorvaneFactoryType() = default;

  /// `nfrTracker` may be null: then nothing is measured.
  virtual std::shared_ptr<GoogleDriveAuthorizationProviderType> makeAuthorizationProvider(
      std::shared_ptr<GoogleDriveAuthorizationNFRTrackerType> nfrTracker) = 0;
  virtual std::shared_ptr<GoogleDriveAccountProviderType> makeAccountProvider() = 0;
  /// The account need not be signed in; if it is not, the object's operations fail.
  virtual std::shared_ptr<GoogleDriveAPIType> makeAPI(GoogleDriveAccountModel account) = 0;
};

}  // namespace corvane
