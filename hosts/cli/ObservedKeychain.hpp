#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace corvane::cli {

/// What the platform tells about a keychain operation that fails, on the operation's own thread.
class ToldReasons {
 public:
  void tell(const std::string& sentence) {
    const std::lock_guard lock(mutex_);
    told_[std::this_thread::get_id()] = sentence;
  }
  /// What was told on this thread since the last call; may be empty.
  std::string take() {
    const std::lock_guard lock(mutex_);
    auto told = told_.extract(std::this_thread::get_id());
    return told ? std::move(told.mapped()) : std::string();
  }

 private:
  std::mutex mutex_;
  std::map<std::thread::id, std::string> told_;
};

/// A keychain that remembers how it last failed, and why: an operation's error has no room for the reason,
/// and a sign-in whose session cannot be saved has not even the status.
class ObservedKeychain final : public Keychain {
 public:
  ObservedKeychain(std::shared_ptr<Keychain> observed, std::shared_ptr<ToldReasons> told)
      : observed_(std::move(observed)), told_(std::move(told)) {}

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
  /// Why an operation last failed with this status, in a sentence; empty when that was not told.
  std::string reason(OSStatus status) const {
    const std::lock_guard lock(mutex_);
    const auto found = reasons_.find(status);
    return found == reasons_.end() ? std::string() : found->second;
  }
  /// As if it had never failed.
  void forgetFailure() { lastFailure_ = errSecSuccess; }

 private:
  OSStatus noted(OSStatus status) {
    auto told = told_->take();
    if (status == errSecSuccess || status == errSecItemNotFound) return status;
    lastFailure_ = status;
    const std::lock_guard lock(mutex_);
    reasons_[status] = std::move(told);
    return status;
  }

  const std::shared_ptr<Keychain> observed_;
  const std::shared_ptr<ToldReasons> told_;
  std::atomic<OSStatus> lastFailure_ = errSecSuccess;
  mutable std::mutex mutex_;
  std::map<OSStatus, std::string> reasons_;
};

}  // namespace corvane::cli
