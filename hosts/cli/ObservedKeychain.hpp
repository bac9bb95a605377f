#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include <atomic>
#include <memory>
#include <utility>

namespace corvane::cli {

/// A keychain that remembers how it last failed: a sign-in whose session cannot be saved tells the cause to nobody but
/// the log.
class ObservedKeychain final : public Keychain {
 public:
  explicit ObservedKeychain(std::shared_ptr<Keychain> observed) : observed_(std::move(observed)) {}

  OSStatus SecItemCopyMatching(const KeychainDictionary& query, KeychainValue* result) override {
    return noted(observed_->SecItemCopyMatching(query, result));
  }
  OSStatus SecItemAdd(const KeychainDictionary& attributes, KeychainValue* result) override {
    return noted(observed_->SecItemAdd(attributes, result));
  }
  OSStatus SecItemDelete(const KeychainDictionary& query) override {
    return noted(observed_->SecItemDelete(query));
  }

  /// errSecSuccess if it never failed. A missing item is no failure.
  OSStatus lastFailure() const { return lastFailure_; }
  /// As if it had never failed.
  void forgetFailure() { lastFailure_ = errSecSuccess; }

 private:
  OSStatus noted(OSStatus status) {
    if (status != errSecSuccess && status != errSecItemNotFound) lastFailure_ = status;
    return status;
  }

  const std::shared_ptr<Keychain> observed_;
  std::atomic<OSStatus> lastFailure_ = errSecSuccess;
};

}  // namespace corvane::cli
