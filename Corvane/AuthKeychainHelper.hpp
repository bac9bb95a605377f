#pragma once

#include <Corvane/Data.hpp>
#include <CorvanePlatform/KeychainHelper.hpp>

#include <memory>
#include <optional>
#include <string>

namespace corvane {

/// Lays one account's session out in the keychain: one generic-password item, by service and account.
///
/// There is no update: a write deletes the old item and adds the new one, and a failure between the two
/// leaves none.
///
/// Immutable; any thread; calls block on the keychain. Each operation comes twice: throwing (an AnyError),
/// and in the selector form of `KeychainHelper`.
class AuthKeychainHelper final : public KeychainHelper {
 public:
  AuthKeychainHelper(std::string accountName, KeychainAttributes keychainAttributes,
                     std::shared_ptr<Keychain> keychain);

  /// A helper for the one item of the account "OAuth", the default of a store that knows no accounts.
  AuthKeychainHelper(KeychainAttributes keychainAttributes, std::shared_ptr<Keychain> keychain);

  const std::string& accountName() const override { return accountName_; }
  const KeychainAttributes& keychainAttributes() const override { return keychainAttributes_; }

  KeychainDictionary keychainQuery(const std::string& service) const override;

  Data passwordData(const std::string& service) const;
  std::string password(const std::string& service) const;
  void removePassword(const std::string& service) const;
  void setPassword(const std::string& password, const std::string& service) const;
  void setPassword(const std::string& password, const std::string& service,
                   const std::optional<KeychainValue>& accessibility) const;
  /// Zero bytes delete the item and add nothing.
  void setPassword(const Data& data, const std::string& service,
                   const std::optional<KeychainValue>& accessibility) const;

  std::optional<Data> passwordData(const std::string& service, NSErrorPointer error) const override;
  std::optional<std::string> password(const std::string& service, NSErrorPointer error) const override;
  bool removePassword(const std::string& service, NSErrorPointer error) const override;
  bool setPassword(const std::string& password, const std::string& service,
                   NSErrorPointer error) const override;
  bool setPassword(const std::string& password, const std::string& service,
                   const std::optional<KeychainValue>& accessibility, NSErrorPointer error) const override;
  bool setPassword(const Data& data, const std::string& service,
                   const std::optional<KeychainValue>& accessibility, NSErrorPointer error) const override;

 private:
  std::string accountName_;
  KeychainAttributes keychainAttributes_;
  std::shared_ptr<Keychain> keychain_;
};

}  // namespace corvane
