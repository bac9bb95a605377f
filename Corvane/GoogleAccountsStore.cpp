#include "GoogleAccountsStore.hpp"

#include <Corvane/AnyError.hpp>
#include <Corvane/GoogleAccountsStoreError.hpp>

#include "GenericObjCError.hpp"
#include "KeychainQuery.hpp"

#include <optional>
#include <utility>

namespace corvane {

namespace {

[[noreturn]] void throwConverted(const std::optional<NSError>& error) {
  if (!error) throw AnyError(GenericObjCError::nilError);
  throw AnyError(*error);
}

}  // namespace

GoogleAccountsStore::GoogleAccountsStore(std::string serviceName, KeychainAttributes keychainAttributes,
                                         std::shared_ptr<GoogleKeychainStoreFactoryType> keychainStoreFactory,
                                         std::shared_ptr<Keychain> keychain)
    : serviceName_(std::move(serviceName)),
      keychainAttributes_(std::move(keychainAttributes)),
      keychainStoreFactory_(std::move(keychainStoreFactory)),
      keychain_(std::move(keychain)) {}

std::shared_ptr<KeychainStore> GoogleAccountsStore::keychainStore(const std::string& account) const {
  return keychainStoreFactory_->makeKeychainStore(serviceName_, account, keychainAttributes_);
}

void GoogleAccountsStore::saveAuthSession(const AuthSession& session, const std::string& account) {
  std::optional<NSError> error;
  if (!keychainStore(account)->saveAuthSession(session, &error)) throwConverted(error);
}

std::shared_ptr<AuthSession> GoogleAccountsStore::retrieveAuthSession(const std::string& account) {
  std::optional<NSError> error;
  auto session = keychainStore(account)->retrieveAuthSession(&error);
  if (!session) throwConverted(error);
  return session;
}

void GoogleAccountsStore::removeAuthSession(const std::string& account) {
  std::optional<NSError> error;
  if (!keychainStore(account)->removeAuthSession(&error)) throwConverted(error);
}

KeychainDictionary GoogleAccountsStore::listingQuery() const {
  KeychainDictionary query{
      {std::string(kSecClass), kSecClassGenericPassword},
      {std::string(kSecAttrService), serviceName_},
      {std::string(kSecAttrSynchronizable), kSecAttrSynchronizableAny},
  };
  applyKeychainAttributes(query, keychainAttributes_);
  query.insert_or_assign(std::string(kSecMatchLimit), kSecMatchLimitAll);
  query.insert_or_assign(std::string(kSecReturnAttributes), kCFBooleanTrue);
  return query;
}

std::vector<std::string> GoogleAccountsStore::storedAccounts() {
  KeychainValue result;
  const OSStatus status = keychain_->SecItemCopyMatching(listingQuery(), &result);
  if (status == errSecItemNotFound) throw AnyError(GoogleAccountsStoreError::keysNotFound(serviceName_));
  if (status != errSecSuccess) throw AnyError(GoogleAccountsStoreError::unhandled(status));
  if (!result.list()) throw AnyError(GoogleAccountsStoreError::unexpectedKeys(serviceName_));

  std::vector<std::string> accounts;
  for (const auto& attributes : *result.list()) {
    const auto account = attributes.find(kSecAttrAccount);
    if (account != attributes.end() && account->second.text()) accounts.push_back(*account->second.text());
  }
  return accounts;
}

}  // namespace corvane
