#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace corvane::test {

/// A keychain in memory that behaves like the real ones, writes down every call, and fails or blocks when
/// told to. Any thread.
class FakeKeychain : public Keychain {
 public:
  enum class Operation { copyMatching, add, remove };

  struct Call {
    Operation operation;
    KeychainDictionary query;
  };

  OSStatus SecItemCopyMatching(const KeychainDictionary& query, KeychainValue* result) override;
  OSStatus SecItemAdd(const KeychainDictionary& attributes, KeychainValue* result) override;
  OSStatus SecItemDelete(const KeychainDictionary& query) override;

  /// The next `times` calls of this kind change nothing and return `status`. Failures asked for one after the
  /// other happen in that order.
  void failNext(Operation operation, OSStatus status, int times = 1);
  /// The next look-up that is not told to fail succeeds with this as its result, whatever is stored.
  void returnInstead(KeychainValue value);

  /// Calls that begin from now on wait inside until `release()`.
  void block();
  void release();
  /// Waits until this many calls are waiting inside.
  void waitUntilBlocked(std::size_t calls = 1);

  /// Puts an item in unchecked, even one that no caller could add.
  void insert(KeychainDictionary item);
  std::vector<KeychainDictionary> items() const;

  /// All calls so far, in the order in which they began.
  std::vector<Call> calls() const;
  void forgetCalls();

 private:
  std::optional<OSStatus> enter(std::unique_lock<std::mutex>& lock, Operation operation,
                                const KeychainDictionary& query);

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<KeychainDictionary> items_;
  std::vector<Call> calls_;
  std::map<Operation, std::deque<OSStatus>> failures_;
  std::deque<KeychainValue> results_;
  bool blocked_ = false;
  std::size_t waiting_ = 0;
};

}  // namespace corvane::test
