#pragma once

#include <CorvanePlatform/Keychain.hpp>
#include <CorvanePlatform/KeychainAttribute.hpp>

#include "GoogleAccountsStoreType.hpp"
#include "GoogleKeychainStoreFactoryType.hpp"

#include <memory>
#include <string>
#include <vector>

namespace corvane {

/// Keeps sessions in the keychain: one item per account under one service name.
///
/// Immutable; the keychain is the only state. Two saves of one account at once may interleave their delete
/// and add.
class GoogleAccountsStore final : public GoogleAccountsStoreType {
 public:
  GoogleAccountsStore(std::string serviceName, KeychainAttributes keychainAttributes,
                      std::shared_ptr<GoogleKeychainStoreFactoryType> keychainStoreFactory,
                      std::shared_ptr<Keychain> keychain);

  void saveAuthSession(const AuthSession& session, const std::string& account) override;
  std::shared_ptr<AuthSession> retrieveAuthSession(const std::string& account) override;
  void removeAuthSession(const std::string& account) override;
  std::vector<std::string> storedAccounts() override;

 private:
  std::shared_ptr<KeychainStore> keychainStore(const std::string& account) const;
  KeychainDictionary listingQuery() const;

  std::string serviceName_;
  KeychainAttributes keychainAttributes_;
  std::shared_ptr<GoogleKeychainStoreFactoryType> keychainStoreFactory_;
  std::shared_ptr<Keychain> keychain_;
};

}  // namespace corvane
