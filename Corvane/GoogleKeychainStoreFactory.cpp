#include "GoogleKeychainStoreFactory.hpp"

#include "AuthKeychainHelper.hpp"

namespace corvane {

std::shared_ptr<KeychainStore> GoogleKeychainStoreFactory::makeKeychainStore(
    const std::string& itemName, const std::string& accountName,
    const KeychainAttributes& keychainAttributes) {
  auto helper = std::make_shared<AuthKeychainHelper>(accountName, keychainAttributes, keychain_);
  return std::make_shared<KeychainStore>(itemName, std::move(helper), sessionArchive_);
}

}  // namespace corvane
