#pragma once

#include "GoogleKeychainStoreFactoryType.hpp"

#include <utility>

namespace corvane {

/// Makes keychain stores over an `AuthKeychainHelper`. It has no settings of its own, only the platform's
/// pieces.
class GoogleKeychainStoreFactory final : public GoogleKeychainStoreFactoryType {
 public:
  GoogleKeychainStoreFactory(std::shared_ptr<Keychain> keychain,
                             std::shared_ptr<const SessionArchive> sessionArchive)
      : keychain_(std::move(keychain)), sessionArchive_(std::move(sessionArchive)) {}

  std::shared_ptr<KeychainStore> makeKeychainStore(const std::string& itemName,
                                                   const std::string& accountName,
                                                   const KeychainAttributes& keychainAttributes) override;

 private:
  std::shared_ptr<Keychain> keychain_;
  std::shared_ptr<const SessionArchive> sessionArchive_;
};

}  // namespace corvane
