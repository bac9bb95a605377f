#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

// What the tests and their worker process store, and how they ask for it.

namespace corvane::test {

/// A stand-in for a session of about 2 KB that shows by itself whether it is whole: one text, repeated.
inline std::string sessionText(std::string_view owner, int number) {
  const auto unit = std::string(owner) + ":" + std::to_string(number) + ";";
  std::string text;
  while (text.size() < 2000) text += unit;
  return text;
}

inline bool isWholeSession(std::string_view text) {
  const auto unit = text.substr(0, text.find(';') + 1);
  if (unit.empty() || text.size() < 2000) return false;
  for (; !text.empty(); text.remove_prefix(unit.size())) {
    if (!text.starts_with(unit)) return false;
  }
  return true;
}

inline KeychainDictionary passwordQuery() {
  return {{std::string(kSecClass), kSecClassGenericPassword},
          {std::string(kSecAttrService), "corvane"},
          {std::string(kSecAttrAccessGroup), ""},
          {std::string(kSecUseDataProtectionKeychain), true}};
}

inline KeychainDictionary accountQuery(std::string_view account) {
  auto query = passwordQuery();
  query.emplace(kSecAttrAccount, account);
  return query;
}

inline OSStatus addSession(Keychain& keychain, std::string_view account, std::string_view session) {
  auto attributes = accountQuery(account);
  attributes.emplace(kSecValueData, dataFromText(session));
  return keychain.SecItemAdd(attributes, nullptr);
}

inline OSStatus removeSession(Keychain& keychain, std::string_view account) {
  return keychain.SecItemDelete(accountQuery(account));
}

struct ReadSession {
  OSStatus status = errSecSuccess;
  std::string text;

  bool operator==(const ReadSession&) const = default;
};

inline ReadSession readSession(Keychain& keychain, std::string_view account) {
  auto query = accountQuery(account);
  query.emplace(kSecReturnData, true);
  query.emplace(kSecMatchLimit, kSecMatchLimitOne);
  KeychainValue result;
  const auto status = keychain.SecItemCopyMatching(query, &result);
  return {status, result.data() ? std::string(textView(*result.data())) : ""};
}

inline std::pair<OSStatus, std::size_t> countSessions(Keychain& keychain) {
  auto query = passwordQuery();
  query.emplace(kSecAttrSynchronizable, kSecAttrSynchronizableAny);
  query.emplace(kSecReturnAttributes, true);
  query.emplace(kSecMatchLimit, kSecMatchLimitAll);
  KeychainValue result;
  const auto status = keychain.SecItemCopyMatching(query, &result);
  return {status, result.list() ? result.list()->size() : 0};
}

}  // namespace corvane::test
