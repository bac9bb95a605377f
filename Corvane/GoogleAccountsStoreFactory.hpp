#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include "GoogleAccountsStoreType.hpp"
#include "GoogleKeychainStoreFactory.hpp"

#include <memory>
#include <string>

namespace corvane {

class GoogleAccountsStoreFactoryType {
 public:
  virtual ~GoogleAccountsStoreFactoryType() = default;
  virtual std::shared_ptr<GoogleAccountsStoreType> makeStore() = 0;
};

/// Turns a service name and an access group into stores that use the data-protection keychain and that group.
/// Both attributes are always there; an empty group stands in the queries as an empty group.
class GoogleAccountsStoreFactory final : public GoogleAccountsStoreFactoryType {
 public:
  GoogleAccountsStoreFactory(std::string serviceName, std::string keychainAccessGroup,
                             std::shared_ptr<GoogleKeychainStoreFactory> keychainStoreFactory,
                             std::shared_ptr<Keychain> keychain);

  std::shared_ptr<GoogleAccountsStoreType> makeStore() override;

 private:
  std::string serviceName_;
  std::string keychainAccessGroup_;
  std::shared_ptr<GoogleKeychainStoreFactory> keychainStoreFactory_;
  std::shared_ptr<Keychain> keychain_;
};

}  // namespace corvane
