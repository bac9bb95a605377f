#pragma once

#include <CorvanePlatform/AuthSession.hpp>

#include <memory>
#include <string>
#include <vector>

namespace corvane {

/// The store of signed-in accounts' sessions, shared by everything that one factory makes.
///
/// Threads: any; every operation blocks on the keychain. Errors: thrown as AnyError, the keychain's own
/// unchanged.
class GoogleAccountsStoreType {
 public:
  virtual ~GoogleAccountsStoreType() = default;

  virtual void saveAuthSession(const AuthSession& session, const std::string& account) = 0;
  virtual std::shared_ptr<AuthSession> retrieveAuthSession(const std::string& account) = 0;
  virtual void removeAuthSession(const std::string& account) = 0;
  /// In the keychain's order, duplicates included; throws `keysNotFound` when nothing is stored.
  virtual std::vector<std::string> storedAccounts() = 0;
};

}  // namespace corvane
