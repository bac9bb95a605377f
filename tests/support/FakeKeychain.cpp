#include "FakeKeychain.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace corvane::test {
namespace {

constexpr std::array identifyingTexts = {kSecClass, kSecAttrAccount, kSecAttrService, kSecAttrAccessGroup};

const KeychainValue* find(const KeychainDictionary& dictionary, std::string_view key) {
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? nullptr : &found->second;
}

bool isSet(const KeychainDictionary& dictionary, std::string_view key) {
  const auto* value = find(dictionary, key);
  return value && value->boolean() && *value->boolean();
}

bool hasText(const KeychainDictionary& dictionary, std::string_view key, std::string_view text) {
  const auto* value = find(dictionary, key);
  return value && value->text() && *value->text() == text;
}

bool isWellFormed(std::string_view key, const KeychainValue& value) {
  if (key == kSecClass) return value.text() && *value.text() == kSecClassGenericPassword;
  if (key == kSecAttrAccount || key == kSecAttrService || key == kSecAttrAccessGroup ||
      key == kSecAttrAccessible) {
    return value.text();
  }
  if (key == kSecAttrSynchronizable) {
    return value.boolean() || (value.text() && *value.text() == kSecAttrSynchronizableAny);
  }
  if (key == kSecMatchLimit) {
    return value.text() && (*value.text() == kSecMatchLimitOne || *value.text() == kSecMatchLimitAll);
  }
  if (key == kSecValueData) return value.data();
  return (key == kSecUseDataProtectionKeychain || key == kSecReturnData || key == kSecReturnAttributes) &&
         value.boolean();
}

bool isWellFormed(const KeychainDictionary& query) {
  return find(query, kSecClass) && std::ranges::all_of(query, [](const auto& entry) {
           return isWellFormed(entry.first, entry.second);
         });
}

bool isLookup(const KeychainDictionary& query) {
  const bool allSecrets = hasText(query, kSecMatchLimit, kSecMatchLimitAll) && isSet(query, kSecReturnData);
  return isWellFormed(query) && !allSecrets && !find(query, kSecValueData);
}

bool isAddition(const KeychainDictionary& query) {
  return isWellFormed(query) && find(query, kSecValueData) && !find(query, kSecMatchLimit) &&
         !hasText(query, kSecAttrSynchronizable, kSecAttrSynchronizableAny);
}

bool isDeletion(const KeychainDictionary& query) {
  return isWellFormed(query) && !find(query, kSecValueData) && !find(query, kSecReturnData) &&
         !find(query, kSecReturnAttributes) && !find(query, kSecMatchLimit);
}

bool matches(const KeychainDictionary& query, const KeychainDictionary& item) {
  for (const auto key :
       {kSecClass, kSecAttrAccount, kSecAttrService, kSecAttrAccessGroup, kSecAttrAccessible}) {
    const auto* wanted = find(query, key);
    const auto* there = find(item, key);
    if (wanted && !(there && *wanted == *there)) return false;
  }
  return hasText(query, kSecAttrSynchronizable, kSecAttrSynchronizableAny) ||
         isSet(query, kSecAttrSynchronizable) == isSet(item, kSecAttrSynchronizable);
}

bool areSameItem(const KeychainDictionary& left, const KeychainDictionary& right) {
  const auto equal = [&](std::string_view key) {
    const auto* a = find(left, key);
    const auto* b = find(right, key);
    return a && b ? *a == *b : a == b;
  };
  return std::ranges::all_of(identifyingTexts, equal) &&
         isSet(left, kSecAttrSynchronizable) == isSet(right, kSecAttrSynchronizable);
}

KeychainDictionary stored(KeychainDictionary attributes) {
  for (const auto key : {kSecUseDataProtectionKeychain, kSecReturnData, kSecReturnAttributes}) {
    attributes.erase(std::string(key));
  }
  if (!isSet(attributes, kSecAttrSynchronizable)) attributes.erase(std::string(kSecAttrSynchronizable));
  return attributes;
}

KeychainDictionary withoutSecret(KeychainDictionary item) {
  item.erase(std::string(kSecValueData));
  return item;
}

void giveBack(const KeychainDictionary& query, const KeychainDictionary& item, KeychainValue* result) {
  if (!result) return;
  const bool data = isSet(query, kSecReturnData);
  const bool attributes = isSet(query, kSecReturnAttributes);
  if (attributes) {
    *result = data ? item : withoutSecret(item);
  } else if (data) {
    *result = item.at(std::string(kSecValueData));
  }
}

}  // namespace

std::optional<OSStatus> FakeKeychain::enter(std::unique_lock<std::mutex>& lock, Operation operation,
                                            const KeychainDictionary& query) {
  calls_.push_back({operation, query});
  if (blocked_) {
    ++waiting_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return !blocked_; });
    --waiting_;
  }
  auto& failures = failures_[operation];
  if (failures.empty()) return std::nullopt;
  const auto status = failures.front();
  failures.pop_front();
  return status;
}

OSStatus FakeKeychain::SecItemCopyMatching(const KeychainDictionary& query, KeychainValue* result) {
  std::unique_lock lock(mutex_);
  if (const auto failure = enter(lock, Operation::copyMatching, query)) return *failure;
  if (!results_.empty()) {
    if (result) *result = results_.front();
    results_.pop_front();
    return errSecSuccess;
  }
  if (!isLookup(query)) return errSecParam;

  std::vector<KeychainDictionary> found;
  std::ranges::copy_if(items_, std::back_inserter(found),
                       [&](const auto& item) { return matches(query, item); });
  if (found.empty()) return errSecItemNotFound;
  if (!hasText(query, kSecMatchLimit, kSecMatchLimitAll)) {
    giveBack(query, found.front(), result);
  } else if (result && isSet(query, kSecReturnAttributes)) {
    std::ranges::transform(found, found.begin(), withoutSecret);
    *result = std::move(found);
  }
  return errSecSuccess;
}

OSStatus FakeKeychain::SecItemAdd(const KeychainDictionary& attributes, KeychainValue* result) {
  std::unique_lock lock(mutex_);
  if (const auto failure = enter(lock, Operation::add, attributes)) return *failure;
  if (!isAddition(attributes)) return errSecParam;
  if (std::ranges::any_of(items_, [&](const auto& item) { return areSameItem(item, attributes); })) {
    return errSecDuplicateItem;
  }
  items_.push_back(stored(attributes));
  giveBack(attributes, items_.back(), result);
  return errSecSuccess;
}

OSStatus FakeKeychain::SecItemDelete(const KeychainDictionary& query) {
  std::unique_lock lock(mutex_);
  if (const auto failure = enter(lock, Operation::remove, query)) return *failure;
  if (!isDeletion(query)) return errSecParam;
  const auto removed = std::erase_if(items_, [&](const auto& item) { return matches(query, item); });
  return removed > 0 ? errSecSuccess : errSecItemNotFound;
}

void FakeKeychain::failNext(Operation operation, OSStatus status, int times) {
  const std::lock_guard lock(mutex_);
  failures_[operation].insert(failures_[operation].end(), static_cast<std::size_t>(times), status);
}

void FakeKeychain::returnInstead(KeychainValue value) {
  const std::lock_guard lock(mutex_);
  results_.push_back(std::move(value));
}

void FakeKeychain::block() {
  const std::lock_guard lock(mutex_);
  blocked_ = true;
}

void FakeKeychain::release() {
  const std::lock_guard lock(mutex_);
  blocked_ = false;
  changed_.notify_all();
}

void FakeKeychain::waitUntilBlocked(std::size_t calls) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return waiting_ >= calls; });
}

void FakeKeychain::insert(KeychainDictionary item) {
  const std::lock_guard lock(mutex_);
  items_.push_back(std::move(item));
}

std::vector<KeychainDictionary> FakeKeychain::items() const {
  const std::lock_guard lock(mutex_);
  return items_;
}

std::vector<FakeKeychain::Call> FakeKeychain::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

void FakeKeychain::forgetCalls() {
  const std::lock_guard lock(mutex_);
  calls_.clear();
}

}  // namespace corvane::test
