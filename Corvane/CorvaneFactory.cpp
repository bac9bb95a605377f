#include <Corvane/CorvaneFactory.hpp>
#include <Corvane/GoogleDriveAPI.hpp>

#include "GoogleAccountsStoreFactory.hpp"
#include "GoogleDriveAccountProvider.hpp"
#include "GoogleDriveAuthorizationProvider.hpp"

#include <utility>

namespace corvane {

CorvaneFactory::CorvaneFactory(std::optional<Data> credentials, std::string keychainService,
                               std::string keychainAccessGroup, MainAppWindow mainAppWindow)
    : credentials_(std::move(credentials)),
      keychainService_(std::move(keychainService)),
      keychainAccessGroup_(std::move(keychainAccessGroup)),
      mainAppWindow_(std::move(mainAppWindow)),
      makePlatform_(systemPlatform) {}

CorvaneFactory::CorvaneFactory(std::optional<Data> credentials, std::string keychainService,
                               std::string keychainAccessGroup, MainAppWindow mainAppWindow,
                               Platform platform)
    : credentials_(std::move(credentials)),
      keychainService_(std::move(keychainService)),
      keychainAccessGroup_(std::move(keychainAccessGroup)),
      mainAppWindow_(std::move(mainAppWindow)),
      platform_(std::move(platform)) {}

std::shared_ptr<GoogleDriveAuthorizationProviderType> CorvaneFactory::makeAuthorizationProvider(
    std::shared_ptr<GoogleDriveAuthorizationNFRTrackerType> nfrTracker) {
  return std::make_shared<GoogleDriveAuthorizationProvider>(credentials_, tokenStorage(), mainAppWindow_,
                                                            std::move(nfrTracker), platform());
}

std::shared_ptr<GoogleDriveAccountProviderType> CorvaneFactory::makeAccountProvider() {
  return std::make_shared<GoogleDriveAccountProvider>(tokenStorage(), std::vector<AnyCancellable>{},
                                                      platform().taskPool);
}

std::shared_ptr<GoogleDriveAPIType> CorvaneFactory::makeAPI(GoogleDriveAccountModel account) {
  return std::make_shared<GoogleDriveAPI>(std::move(account), tokenStorage(), platform());
}

const Platform& CorvaneFactory::platform() {
  if (!platform_) platform_ = makePlatform_();
  return *platform_;
}

const std::shared_ptr<GoogleAccountsStoreType>& CorvaneFactory::tokenStorage() {
  if (!tokenStorage_) {
    const auto& pieces = platform();
    GoogleAccountsStoreFactory factory(
        keychainService_, keychainAccessGroup_,
        std::make_shared<GoogleKeychainStoreFactory>(pieces.keychain, pieces.sessionArchive),
        pieces.keychain);
    tokenStorage_ = factory.makeStore();
  }
  return tokenStorage_;
}

}  // namespace corvane
