#pragma once

#include <Corvane/Data.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace corvane {

using OSStatus = std::int32_t;

// Statuses of the Security services (SecBase.h's public numbers).
inline constexpr OSStatus errSecSuccess = 0;
inline constexpr OSStatus errSecUnimplemented = -4;
inline constexpr OSStatus errSecIO = -36;
inline constexpr OSStatus errSecParam = -50;
inline constexpr OSStatus errSecAllocate = -108;
inline constexpr OSStatus errSecUserCanceled = -128;
inline constexpr OSStatus errSecNotAvailable = -25291;
inline constexpr OSStatus errSecAuthFailed = -25293;
inline constexpr OSStatus errSecDuplicateItem = -25299;
inline constexpr OSStatus errSecItemNotFound = -25300;
inline constexpr OSStatus errSecInteractionNotAllowed = -25308;
inline constexpr OSStatus errSecDecode = -26275;

// Query keys.
inline constexpr std::string_view kSecClass = "kSecClass";
inline constexpr std::string_view kSecAttrAccount = "kSecAttrAccount";
inline constexpr std::string_view kSecAttrService = "kSecAttrService";
inline constexpr std::string_view kSecAttrAccessGroup = "kSecAttrAccessGroup";
inline constexpr std::string_view kSecAttrAccessible = "kSecAttrAccessible";
inline constexpr std::string_view kSecAttrSynchronizable = "kSecAttrSynchronizable";
inline constexpr std::string_view kSecUseDataProtectionKeychain = "kSecUseDataProtectionKeychain";
inline constexpr std::string_view kSecValueData = "kSecValueData";
inline constexpr std::string_view kSecReturnData = "kSecReturnData";
inline constexpr std::string_view kSecReturnAttributes = "kSecReturnAttributes";
inline constexpr std::string_view kSecMatchLimit = "kSecMatchLimit";

// Values with a name of their own.
inline constexpr std::string_view kSecClassGenericPassword = "kSecClassGenericPassword";
inline constexpr std::string_view kSecMatchLimitOne = "kSecMatchLimitOne";
inline constexpr std::string_view kSecMatchLimitAll = "kSecMatchLimitAll";
inline constexpr std::string_view kSecAttrSynchronizableAny = "kSecAttrSynchronizableAny";
inline constexpr std::string_view kSecAttrAccessibleWhenUnlocked = "kSecAttrAccessibleWhenUnlocked";
inline constexpr std::string_view kSecAttrAccessibleAfterFirstUnlock = "kSecAttrAccessibleAfterFirstUnlock";
inline constexpr bool kCFBooleanTrue = true;

class KeychainValue;

/// A query, or the attributes of an item, by key.
using KeychainDictionary = std::map<std::string, KeychainValue, std::less<>>;

/// One value of a query or of a result: nothing, boolean, integer, text, bytes, dictionary or list of
/// dictionaries.
class KeychainValue {
 public:
  using List = std::vector<KeychainDictionary>;

  KeychainValue() = default;
  KeychainValue(bool flag) : value_(flag) {}
  KeychainValue(std::int64_t number) : value_(number) {}
  KeychainValue(std::string text) : value_(Text{std::move(text)}) {}
  KeychainValue(std::string_view text) : KeychainValue(std::string(text)) {}
  KeychainValue(const char* text) : KeychainValue(std::string(text)) {}
  KeychainValue(Data data) : value_(std::move(data)) {}
  KeychainValue(KeychainDictionary dictionary);
  KeychainValue(List list);

  bool isNone() const { return std::holds_alternative<std::monostate>(value_); }
  /// The boolean, or null when the value is of another kind; likewise below.
  const bool* boolean() const { return std::get_if<bool>(&value_); }
  const std::int64_t* integer() const { return std::get_if<std::int64_t>(&value_); }
  const std::string* text() const {
    const auto* text = std::get_if<Text>(&value_);
    return text ? &text->content : nullptr;
  }
  const Data* data() const { return std::get_if<Data>(&value_); }
  const KeychainDictionary* dictionary() const;
  const List* list() const;

  bool operator==(const KeychainValue& other) const;

 private:
  // A type of our own: libstdc++ 12 takes a variant of nothing but its own types for one that is
  // never without a value, and a copy that runs out of memory then ends the program.
  struct Text {
    std::string content;
    bool operator==(const Text&) const = default;
  };

  std::variant<std::monostate, bool, std::int64_t, Text, Data,
               std::shared_ptr<const KeychainDictionary>, std::shared_ptr<const List>>
      value_;
};

inline KeychainValue::KeychainValue(KeychainDictionary dictionary)
    : value_(std::make_shared<const KeychainDictionary>(std::move(dictionary))) {}

inline KeychainValue::KeychainValue(List list) : value_(std::make_shared<const List>(std::move(list))) {}

inline const KeychainDictionary* KeychainValue::dictionary() const {
  const auto* shared = std::get_if<std::shared_ptr<const KeychainDictionary>>(&value_);
  return shared ? shared->get() : nullptr;
}

inline const KeychainValue::List* KeychainValue::list() const {
  const auto* shared = std::get_if<std::shared_ptr<const List>>(&value_);
  return shared ? shared->get() : nullptr;
}

inline bool KeychainValue::operator==(const KeychainValue& other) const {
  if (dictionary() && other.dictionary()) return *dictionary() == *other.dictionary();
  if (list() && other.list()) return *list() == *other.list();
  return value_ == other.value_;
}

/// The place where sessions are kept: the three item operations that the module needs of a system keychain.
///
/// Lifetime: shared by everything that is made from one platform.
/// Threads: any, also at once. Calls are synchronous and may block for long, for instance while the user is
/// asked to unlock.
/// Errors: a Security status; `errSecItemNotFound` only when an item is really missing, never for one that is
/// locked or cannot be read.
///
/// An item is identified by class, account, service, access group and synchronizable. A query that is silent
/// on `kSecAttrSynchronizable` matches only items without it; `kSecAttrSynchronizableAny` matches either
/// kind.
class Keychain {
 public:
  virtual ~Keychain() = default;

  /// Looks items up. With `kSecReturnData` the result is an item's bytes; with `kSecReturnAttributes` a
  /// dictionary of its attributes, or under `kSecMatchLimitAll` a list of them. `result` may be null and is
  /// left alone on failure.
  virtual OSStatus SecItemCopyMatching(const KeychainDictionary& query, KeychainValue* result) = 0;

  /// Adds one item made of the query's attributes and `kSecValueData`; `errSecDuplicateItem` when it is there
  /// already.
  virtual OSStatus SecItemAdd(const KeychainDictionary& attributes, KeychainValue* result) = 0;

  /// Deletes every item that matches; `errSecItemNotFound` when there is none.
  virtual OSStatus SecItemDelete(const KeychainDictionary& query) = 0;
};

}  // namespace corvane
