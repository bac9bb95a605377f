#include "KeychainQuery.hpp"

#include "KeychainProblem.hpp"

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {
namespace {

[[noreturn]] void reject(std::string_view key, std::string_view why) {
  throw KeychainProblem(errSecParam, "A keychain query's " + std::string(key) + " " + std::string(why) + ".");
}

const std::string& textOf(std::string_view key, const KeychainValue& value) {
  const auto* text = value.text();
  if (!text) reject(key, "is not a text");
  return *text;
}

bool flagOf(std::string_view key, const KeychainValue& value) {
  const auto* flag = value.boolean();
  if (!flag) reject(key, "is not a boolean");
  return *flag;
}

std::string classOf(const KeychainValue& value) {
  if (textOf(kSecClass, value) != kSecClassGenericPassword)
    reject(kSecClass, "is not that of generic passwords");
  return std::string(kSecClassGenericPassword);
}

std::optional<bool> synchronizableOf(const KeychainValue& value) {
  if (const auto* text = value.text(); text && *text == kSecAttrSynchronizableAny) return std::nullopt;
  return flagOf(kSecAttrSynchronizable, value);
}

bool matchesAllOf(const KeychainValue& value) {
  const auto& limit = textOf(kSecMatchLimit, value);
  if (limit != kSecMatchLimitAll && limit != kSecMatchLimitOne)
    reject(kSecMatchLimit, "is neither one nor all");
  return limit == kSecMatchLimitAll;
}

const Data& bytesOf(const KeychainValue& value) {
  const auto* bytes = value.data();
  if (!bytes) reject(kSecValueData, "is not a byte buffer");
  return *bytes;
}

KeychainQuery parse(const KeychainDictionary& dictionary) {
  KeychainQuery query;
  for (const auto& [key, value] : dictionary) {
    if (key == kSecClass) {
      query.item.itemClass = classOf(value);
    } else if (key == kSecAttrAccount) {
      query.item.account = textOf(key, value);
    } else if (key == kSecAttrService) {
      query.item.service = textOf(key, value);
    } else if (key == kSecAttrAccessGroup) {
      query.item.accessGroup = textOf(key, value);
    } else if (key == kSecAttrAccessible) {
      query.item.accessible = textOf(key, value);
    } else if (key == kSecAttrSynchronizable) {
      query.synchronizable = synchronizableOf(value);
    } else if (key == kSecUseDataProtectionKeychain) {
      query.usesDataProtection = flagOf(key, value);
    } else if (key == kSecValueData) {
      query.value = bytesOf(value);
    } else if (key == kSecReturnData) {
      query.returnsData = flagOf(key, value);
    } else if (key == kSecReturnAttributes) {
      query.returnsAttributes = flagOf(key, value);
    } else if (key == kSecMatchLimit) {
      query.matchesAll = matchesAllOf(value);
    } else {
      reject("keys", "hold one that is not known");
    }
  }
  if (!dictionary.contains(kSecClass)) reject(kSecClass, "is missing");
  return query;
}

void refuseKeys(const KeychainDictionary& dictionary, std::initializer_list<std::string_view> keys) {
  for (auto key : keys) {
    if (dictionary.contains(key)) reject(key, "has no meaning for this operation");
  }
}

bool accepts(const std::optional<std::string>& wanted, const std::optional<std::string>& there) {
  return !wanted || wanted == there;
}

KeychainValue::List attributesOf(const std::vector<KeychainItem>& items) {
  KeychainValue::List list;
  for (const auto& item : items) list.push_back(item.attributes());
  return list;
}

KeychainValue resultOf(const KeychainQuery& query, const KeychainItem& item, Data secret) {
  if (!query.returnsAttributes) return secret;
  auto attributes = item.attributes();
  if (query.returnsData) attributes.emplace(kSecValueData, std::move(secret));
  return attributes;
}

}  // namespace

KeychainQuery KeychainQuery::forLookup(const KeychainDictionary& dictionary) {
  refuseKeys(dictionary, {kSecValueData});
  auto query = parse(dictionary);
  // The secrets of several passwords are never handed out at once.
  if (query.matchesAll && query.returnsData) reject(kSecReturnData, "cannot be had of all matching items");
  return query;
}

KeychainQuery KeychainQuery::forAddition(const KeychainDictionary& attributes) {
  refuseKeys(attributes, {kSecMatchLimit});
  auto query = parse(attributes);
  if (!attributes.contains(kSecValueData)) reject(kSecValueData, "is missing");
  if (!query.synchronizable) reject(kSecAttrSynchronizable, "is neither true nor false");
  query.item.synchronizable = *query.synchronizable;
  return query;
}

KeychainQuery KeychainQuery::forDeletion(const KeychainDictionary& dictionary) {
  refuseKeys(dictionary, {kSecValueData, kSecReturnData, kSecReturnAttributes, kSecMatchLimit});
  return parse(dictionary);
}

bool KeychainQuery::matches(const KeychainItem& candidate) const {
  return item.itemClass == candidate.itemClass && accepts(item.account, candidate.account) &&
         accepts(item.service, candidate.service) && accepts(item.accessGroup, candidate.accessGroup) &&
         accepts(item.accessible, candidate.accessible) &&
         (!synchronizable || *synchronizable == candidate.synchronizable);
}

KeychainItem KeychainQuery::named(KeychainItem candidate) const {
  candidate.itemClass = item.itemClass;
  if (item.account) candidate.account = item.account;
  if (item.service) candidate.service = item.service;
  if (item.accessGroup) candidate.accessGroup = item.accessGroup;
  if (item.accessible) candidate.accessible = item.accessible;
  if (synchronizable) candidate.synchronizable = *synchronizable;
  return candidate;
}

void KeychainQuery::fill(KeychainValue* result, const std::vector<KeychainItem>& items, Data secret) const {
  if (!result || !(returnsData || returnsAttributes)) return;
  *result =
      matchesAll ? KeychainValue(attributesOf(items)) : resultOf(*this, items.front(), std::move(secret));
}

}  // namespace corvane
