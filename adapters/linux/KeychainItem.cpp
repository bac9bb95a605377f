#include "KeychainItem.hpp"

#include <cstdint>
#include <string_view>

namespace corvane {
namespace {

// Names the purpose and the layout of these bytes; a new layout takes a new number.
constexpr std::string_view layout = "corvane keychain item 1";

void append(Data& bytes, std::string_view text) {
  auto length = static_cast<std::uint64_t>(text.size());
  for (int i = 0; i < 8; ++i, length >>= 8) bytes.push_back(static_cast<std::byte>(length & 0xff));
  const auto* begin = reinterpret_cast<const std::byte*>(text.data());
  bytes.insert(bytes.end(), begin, begin + text.size());
}

void append(Data& bytes, const std::optional<std::string>& text) {
  bytes.push_back(std::byte{text.has_value()});
  if (text) append(bytes, std::string_view(*text));
}

void put(KeychainDictionary& dictionary, std::string_view key, const std::optional<std::string>& text) {
  if (text) dictionary.emplace(key, *text);
}

}  // namespace

KeychainDictionary KeychainItem::attributes() const {
  KeychainDictionary result;
  result.emplace(kSecClass, itemClass);
  put(result, kSecAttrAccount, account);
  put(result, kSecAttrService, service);
  put(result, kSecAttrAccessGroup, accessGroup);
  if (synchronizable) result.emplace(kSecAttrSynchronizable, true);
  put(result, kSecAttrAccessible, accessible);
  return result;
}

Data KeychainItem::associatedData() const {
  Data bytes;
  append(bytes, layout);
  append(bytes, std::string_view(itemClass));
  append(bytes, account);
  append(bytes, service);
  append(bytes, accessGroup);
  bytes.push_back(std::byte{synchronizable});
  append(bytes, accessible);
  return bytes;
}

}  // namespace corvane
