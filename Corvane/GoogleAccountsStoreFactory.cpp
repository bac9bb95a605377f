#include "GoogleAccountsStoreFactory.hpp"

#include "GoogleAccountsStore.hpp"

#include <utility>

namespace corvane {

GoogleAccountsStoreFactory::GoogleAccountsStoreFactory(
    std::string serviceName, std::string keychainAccessGroup,
    std::shared_ptr<GoogleKeychainStoreFactory> keychainStoreFactory, std::shared_ptr<Keychain> keychain)
    : serviceName_(std::move(serviceName)),
      keychainAccessGroup_(std::move(keychainAccessGroup)),
      keychainStoreFactory_(std::move(keychainStoreFactory)),
      keychain_(std::move(keychain)) {}

std::shared_ptr<GoogleAccountsStoreType> GoogleAccountsStoreFactory::makeStore() {
  KeychainAttributes attributes{KeychainAttribute::useDataProtectionKeychain(),
                                KeychainAttribute::keychainAccessGroup(keychainAccessGroup_)};
  return std::make_shared<GoogleAccountsStore>(serviceName_, std::move(attributes), keychainStoreFactory_,
                                               keychain_);
}

}  // namespace corvane
