#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// What can go wrong when a session is read from, or removed from, the keychain.
class KeychainStoreError {
 public:
  /// In the order of their codes.
  enum class Case {
    noService,
    unhandled,
    passwordNotFound,
    unexpectedPasswordData,
    failedToDeletePasswordBecauseItemNotFound,
  };

  /// The service name is empty.
  static KeychainStoreError noService() { return KeychainStoreError(Case::noService); }
  /// The keychain answered a read with a status that has no case of its own.
  static KeychainStoreError unhandled(OSStatus status) {
    KeychainStoreError error(Case::unhandled);
    error.status_ = status;
    return error;
  }
  /// There is no such item.
  static KeychainStoreError passwordNotFound(std::string service) {
    return KeychainStoreError(Case::passwordNotFound, std::move(service));
  }
  /// The item holds something else than was asked for.
  static KeychainStoreError unexpectedPasswordData(std::string service) {
    return KeychainStoreError(Case::unexpectedPasswordData, std::move(service));
  }
  static KeychainStoreError failedToDeletePasswordBecauseItemNotFound(std::string service) {
    return KeychainStoreError(Case::failedToDeletePasswordBecauseItemNotFound, std::move(service));
  }

  Case kind() const { return case_; }
  /// The Security status of `unhandled`, else `errSecSuccess`.
  OSStatus status() const { return status_; }
  /// The service of the cases that carry one, else empty.
  const std::string& service() const { return service_; }

  int caseNumber() const { return static_cast<int>(case_); }
  bool operator==(const KeychainStoreError&) const = default;

 private:
  explicit KeychainStoreError(Case which, std::string service = {})
      : case_(which), service_(std::move(service)) {}

  Case case_;
  std::string service_;
  OSStatus status_ = errSecSuccess;
};

constexpr std::string_view errorTypeName(const KeychainStoreError&) {
  return "GTMAppAuth.KeychainStore.Error";  // of the platform piece, not of the module
}

}  // namespace corvane
