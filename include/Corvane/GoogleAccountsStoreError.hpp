#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// Why the stored accounts could not be listed. Its NSError form shows the case only: the user info is empty.
class GoogleAccountsStoreError {
 public:
  /// In the order of their codes.
  enum class Case { unhandled, keysNotFound, unexpectedKeys };

  /// The keychain answered with a status that has no case of its own.
  static GoogleAccountsStoreError unhandled(OSStatus status) {
    GoogleAccountsStoreError error(Case::unhandled, {});
    error.status_ = status;
    return error;
  }
  /// No account is stored under the service.
  static GoogleAccountsStoreError keysNotFound(std::string forServiceName) {
    return GoogleAccountsStoreError(Case::keysNotFound, std::move(forServiceName));
  }
  /// The keychain's answer is not a list of attributes.
  static GoogleAccountsStoreError unexpectedKeys(std::string forServiceName) {
    return GoogleAccountsStoreError(Case::unexpectedKeys, std::move(forServiceName));
  }

  Case kind() const { return case_; }
  /// The status of `unhandled`, else `errSecSuccess`.
  OSStatus status() const { return status_; }
  /// The service name of the other cases, else empty.
  const std::string& forServiceName() const { return forServiceName_; }

  static std::string_view errorDomain() { return "Corvane.GoogleAccountsStore.Error"; }
  std::int64_t errorCode() const { return static_cast<std::int64_t>(case_); }

  bool operator==(const GoogleAccountsStoreError&) const = default;

 private:
  GoogleAccountsStoreError(Case which, std::string forServiceName)
      : case_(which), forServiceName_(std::move(forServiceName)) {}

  Case case_;
  OSStatus status_ = errSecSuccess;
  std::string forServiceName_;
};

}  // namespace corvane
