#include "EncryptedFileKeychain.hpp"

#include "KeychainFolder.hpp"
#include "KeychainProblem.hpp"
#include "KeychainQuery.hpp"
#include "KeychainVault.hpp"

#include <new>
#include <utility>

namespace corvane {

EncryptedFileKeychain::EncryptedFileKeychain(const std::filesystem::path& folder, ProblemHandler onProblem,
                                             std::chrono::milliseconds patience)
    : onProblem_(std::move(onProblem)),
      patience_(patience),
      folder_(std::make_unique<const KeychainFolder>(folder)) {}

EncryptedFileKeychain::~EncryptedFileKeychain() = default;

// `operation(sentence)` returns the status of an expected outcome and may leave a remark in `sentence`.
template <class Operation>
OSStatus EncryptedFileKeychain::perform(Operation operation) {
  OSStatus status = errSecSuccess;
  std::string sentence;
  try {
    const std::lock_guard lock(mutex_);
    try {
      status = operation(sentence);
    } catch (const KeychainProblem& problem) {
      if (problem.status() != errSecParam) vault_.reset();  // a file that gets repaired is to be read afresh
      throw;
    }
  } catch (const KeychainProblem& problem) {
    status = problem.status();
    sentence = problem.what();
  } catch (const std::bad_alloc&) {
    return errSecAllocate;
  } catch (const std::exception& error) {
    status = errSecIO;
    sentence = std::string("The keychain failed: ") + error.what();
  }
  if (!sentence.empty() && onProblem_) onProblem_(sentence);
  return status;
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
    if (!vault(true)->add(query.item, query.value)) return errSecDuplicateItem;
    query.fill(result, {query.item}, query.value);
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
