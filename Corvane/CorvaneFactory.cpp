#include <Corvane/CorvaneFactory.hpp>
#include <Corvane/GoogleDriveAPI.hpp>

#include "GoogleAccountsStoreFactory.hpp"
#include "GoogleDriveAccountProvider.hpp"
#include "GoogleDriveAuthorizationProvider.hpp"
#include "LateObjects.hpp"

#include <exception>
#include <utility>
#include <vector>

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

// Makes the object now, or hands out one that makes it later, when the platform can be had. The
// late one has a factory of its own, as this one may go and belongs to one thread.
template <class LateObject, class Make, class... Arguments>
auto CorvaneFactory::nowOrLater(Make make, Arguments&&... arguments) -> decltype(make(*this)) {
  if (platform_) return make(*this);
  try {
    return make(*this);
  } catch (const std::exception&) {
    auto again = std::make_shared<CorvaneFactory>(credentials_, keychainService_,
                                                  keychainAccessGroup_, mainAppWindow_);
    return std::make_shared<LateObject>([again = std::move(again), make] { return make(*again); },
                                        std::forward<Arguments>(arguments)...);
  }
}

std::shared_ptr<GoogleDriveAuthorizationProviderType> CorvaneFactory::makeAuthorizationProvider(
    std::shared_ptr<GoogleDriveAuthorizationNFRTrackerType> nfrTracker) {
  const auto make =
      [nfrTracker](CorvaneFactory& self) -> std::shared_ptr<GoogleDriveAuthorizationProviderType> {
    const auto& storage = self.tokenStorage();
    return std::make_shared<GoogleDriveAuthorizationProvider>(
        self.credentials_, storage, self.mainAppWindow_, nfrTracker, self.platform());
  };
  return nowOrLater<LateAuthorizationProvider>(make, nfrTracker);
}

std::shared_ptr<GoogleDriveAccountProviderType> CorvaneFactory::makeAccountProvider() {
  const auto make = [](CorvaneFactory& self) -> std::shared_ptr<GoogleDriveAccountProviderType> {
    const auto& storage = self.tokenStorage();
    return std::make_shared<GoogleDriveAccountProvider>(storage, std::vector<AnyCancellable>{},
                                                        self.platform().taskPool);
  };
  return nowOrLater<LateAccountProvider>(make);
}

std::shared_ptr<GoogleDriveAPIType> CorvaneFactory::makeAPI(GoogleDriveAccountModel account) {
  const auto make = [account](CorvaneFactory& self) -> std::shared_ptr<GoogleDriveAPIType> {
    const auto& storage = self.tokenStorage();
    return std::make_shared<GoogleDriveAPI>(account, storage, self.platform());
  };
  return nowOrLater<LateGoogleDriveAPI>(make, account);
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
