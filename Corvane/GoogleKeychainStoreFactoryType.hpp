#pragma once

#include <CorvanePlatform/KeychainAttribute.hpp>
#include <CorvanePlatform/KeychainStore.hpp>

#include <memory>
#include <string>

namespace corvane {

/// Makes the keychain store of one account. Any thread.
class GoogleKeychainStoreFactoryType {
 public:
  virtual ~GoogleKeychainStoreFactoryType() = default;
  virtual std::shared_ptr<KeychainStore> makeKeychainStore(const std::string& itemName,
                                                           const std::string& accountName,
                                                           const KeychainAttributes& keychainAttributes) = 0;
};

}  // namespace corvane
