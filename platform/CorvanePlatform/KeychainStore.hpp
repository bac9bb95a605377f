#pragma once

#include <Corvane/AnyError.hpp>
#include <Corvane/NSError.hpp>
#include <CorvanePlatform/AuthSession.hpp>
#include <CorvanePlatform/KeychainHelper.hpp>
#include <CorvanePlatform/SessionArchive.hpp>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace corvane {

/// The keychain item of one session: archives the session and lets its helper read, write and delete the
/// bytes.
///
/// Immutable; any thread; calls block on the keychain. Errors are left in the out-parameter, if there is one.
class KeychainStore {
 public:
  KeychainStore(std::string itemName, std::shared_ptr<KeychainHelper> keychainHelper,
                std::shared_ptr<const SessionArchive> archive)
      : itemName_(std::move(itemName)),
        keychainHelper_(std::move(keychainHelper)),
        archive_(std::move(archive)) {}
  virtual ~KeychainStore() = default;

  const std::string& itemName() const { return itemName_; }
  const KeychainHelper& keychainHelper() const { return *keychainHelper_; }

  virtual bool saveAuthSession(const AuthSession& session, NSErrorPointer error) const {
    try {
      return keychainHelper_->setPassword(archive_->encode(session), itemName_, std::nullopt, error);
    } catch (const AnyError& failure) {
      if (error) *error = failure.nsError();
      return false;
    }
  }

  virtual std::shared_ptr<AuthSession> retrieveAuthSession(NSErrorPointer error) const {
    try {
      const auto archived = keychainHelper_->passwordData(itemName_, error);
      return archived ? archive_->decode(*archived) : nullptr;
    } catch (const AnyError& failure) {
      if (error) *error = failure.nsError();
      return nullptr;
    }
  }

  virtual bool removeAuthSession(NSErrorPointer error) const {
    return keychainHelper_->removePassword(itemName_, error);
  }

 private:
  std::string itemName_;
  std::shared_ptr<KeychainHelper> keychainHelper_;
  std::shared_ptr<const SessionArchive> archive_;
};

}  // namespace corvane
