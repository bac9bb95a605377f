#include "EncryptedFileKeychain.hpp"

#include "KeychainFolder.hpp"
#include "KeychainProblem.hpp"
#include "KeychainQuery.hpp"
#include "KeychainVault.hpp"

#include <unistd.h>

#include <new>
#include <utility>

namespace corvane {

EncryptedFileKeychain::EncryptedFileKeychain(const std::filesystem::path& folder, ProblemHandler onProblem,
                                             std::chrono::milliseconds patience)
    : onProblem_(std::move(onProblem)),
      patience_(patience),
      folder_(std::make_unique<const KeychainFolder>(folder)) {}

// In a forked child the connection is the parent's, and closing it here could disturb the parent's use of the
// file (https://www.sqlite.org/howtocorrupt.html, section 2.6): it is left to the end of the process.
EncryptedFileKeychain::~EncryptedFileKeychain() {
  if (user_ != 0 && user_ != ::getpid()) static_cast<void>(vault_.release());
}

// Before anything is locked: a thread of the parent may have held the lock when the process was forked.
void EncryptedFileKeychain::refuseAfterFork() {
  pid_t nobody = 0;
  if (user_.compare_exchange_strong(nobody, ::getpid()) || nobody == ::getpid()) return;
  throw KeychainProblem(
      errSecNotAvailable,
      "The keychain was used before this process was forked, and cannot be used after. Fork "
      "before its first use, or make a new one in the child.");
}

// `operation(remark)` returns the status of an expected outcome and may leave a sentence in `remark`.
template <class Operation>
OSStatus EncryptedFileKeychain::perform(Operation operation) {
  try {
    refuseAfterFork();
    std::string remark;
    const auto status = performAlone(operation, remark);
    if (!remark.empty()) tell(remark.c_str());
    return status;
  } catch (const KeychainProblem& problem) {
    tell(problem.what());
    return problem.status();
  } catch (const std::bad_alloc&) {
    return errSecAllocate;
  } catch (const std::exception& error) {
    tell(error.what());
    return errSecIO;
  }
}

template <class Operation>
OSStatus EncryptedFileKeychain::performAlone(Operation operation, std::string& remark) {
  const std::lock_guard lock(mutex_);
  try {
    return operation(remark);
  } catch (const KeychainProblem& problem) {
    if (problem.status() != errSecParam) vault_.reset();  // a file that gets repaired is to be read afresh
    throw;
  } catch (...) {
    vault_.reset();  // SQLite may lack memory even to end a transaction
    throw;
  }
}

// With no memory for the sentence the status has to do.
void EncryptedFileKeychain::tell(const char* sentence) const noexcept {
  try {
    if (onProblem_) onProblem_(sentence);
  } catch (const std::bad_alloc&) {
  }
}

KeychainVault* EncryptedFileKeychain::vault(bool create) {
  // Rights may have changed, or the folder gone, since the last call; what is wrong then is told by opening it.
  if (vault_ && !vault_->isCurrent()) vault_.reset();
  if (!vault_) {
    using Missing = KeychainVault::Missing;
    vault_ = KeychainVault::open(*folder_, patience_, create ? Missing::create : Missing::leaveMissing);
  }
  return vault_.get();
}

OSStatus EncryptedFileKeychain::SecItemCopyMatching(const KeychainDictionary& dictionary,
                                                    KeychainValue* result) {
  return perform([&](std::string& remark) -> OSStatus {
    const auto query = KeychainQuery::forLookup(dictionary);
    auto* opened = vault(false);
    if (!opened) return errSecItemNotFound;
    auto findings = opened->find(query);
    if (findings.items.empty()) return errSecItemNotFound;
    if (findings.damaged > 0) {
      remark =
          "Damaged items of the keychain were left out of a listing: " + std::to_string(findings.damaged) +
          ".";
    }
    query.fill(result, findings.items, std::move(findings.secret));
    return errSecSuccess;
  });
}

OSStatus EncryptedFileKeychain::SecItemAdd(const KeychainDictionary& attributes, KeychainValue* result) {
  return perform([&](std::string&) -> OSStatus {
    const auto query = KeychainQuery::forAddition(attributes);
    KeychainValue added;  // made first: nothing may fail once the item is stored
    query.fill(result ? &added : nullptr, {query.item}, query.value);
    if (!vault(true)->add(query.item, query.value)) return errSecDuplicateItem;
    if (result && !added.isNone()) *result = std::move(added);
    return errSecSuccess;
  });
}

OSStatus EncryptedFileKeychain::SecItemDelete(const KeychainDictionary& dictionary) {
  return perform([&](std::string&) -> OSStatus {
    const auto query = KeychainQuery::forDeletion(dictionary);
    auto* opened = vault(false);
    return opened && opened->remove(query) > 0 ? errSecSuccess : errSecItemNotFound;
  });
}

}  // namespace corvane
