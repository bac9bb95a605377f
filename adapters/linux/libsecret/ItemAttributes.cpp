#include "ItemAttributes.hpp"

#include "GLibPointers.hpp"

#include <string_view>

namespace corvane {
namespace {

// Tells our items from those of other programs that use the same attribute names.
constexpr const char* schemaAttribute = "xdg:schema";
constexpr const char* schema = "org.corvane.KeychainItem";

constexpr const char* classAttribute = "class";
constexpr const char* accountAttribute = "account";
constexpr const char* serviceAttribute = "service";
constexpr const char* accessGroupAttribute = "access-group";
constexpr const char* synchronizableAttribute = "synchronizable";
constexpr const char* accessibleAttribute = "accessible";
constexpr const char* dataProtectionAttribute = "data-protection";

// D-Bus carries no text with a zero byte or broken UTF-8 (dbus.freedesktop.org, "Basic types"). The few that are such,
// or that look like this form, are written in it.
constexpr std::string_view hexMark = "hex:";
constexpr std::string_view hexDigits = "0123456789abcdef";

std::string written(const std::string& text) {
  if (!text.starts_with(hexMark) && g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr))
    return text;
  std::string hex(hexMark);
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    hex += hexDigits[byte >> 4];
    hex += hexDigits[byte & 15];
  }
  return hex;
}

std::optional<std::string> read(std::string_view attribute) {
  if (!attribute.starts_with(hexMark)) return std::string(attribute);
  attribute.remove_prefix(hexMark.size());
  if (attribute.size() % 2 != 0) return std::nullopt;
  std::string text;
  for (std::size_t i = 0; i < attribute.size(); i += 2) {
    const auto high = hexDigits.find(attribute[i]);
    const auto low = hexDigits.find(attribute[i + 1]);
    if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
    text += static_cast<char>(high << 4 | low);
  }
  return text;
}

const char* flag(bool value) {
  return value ? "true" : "false";
}

void put(ItemAttributes& attributes, const char* name, const std::optional<std::string>& text) {
  if (text) attributes.emplace(name, written(*text));
}

// False when the attribute is there but cannot be read.
bool take(const ItemAttributes& attributes, const char* name, std::optional<std::string>& text) {
  const auto found = attributes.find(name);
  if (found == attributes.end()) return true;
  text = read(found->second);
  return text.has_value();
}

bool holds(const ItemAttributes& attributes, const char* name, std::string_view value) {
  const auto found = attributes.find(name);
  return found != attributes.end() && found->second == value;
}

std::string now() {
  const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> time(g_date_time_new_now_utc(),
                                                                      g_date_time_unref);
  return GTextPointer(g_date_time_format(time.get(), "%Y-%m-%dT%H:%M:%S.%fZ")).get();
}

}  // namespace

ItemAttributes searchAttributes(const KeychainQuery& query) {
  ItemAttributes attributes{{schemaAttribute, schema}, {classAttribute, query.item.itemClass}};
  put(attributes, accountAttribute, query.item.account);
  put(attributes, serviceAttribute, query.item.service);
  put(attributes, accessGroupAttribute, query.item.accessGroup);
  put(attributes, accessibleAttribute, query.item.accessible);
  if (query.synchronizable) attributes.emplace(synchronizableAttribute, flag(*query.synchronizable));
  return attributes;
}

ItemAttributes newItemAttributes(const KeychainQuery& addition) {
  auto attributes = searchAttributes(addition);
  if (addition.usesDataProtection) attributes.emplace(dataProtectionAttribute, flag(true));
  attributes.emplace(addedAttribute, now());
  return attributes;
}

std::optional<KeychainItem> itemWith(const ItemAttributes& attributes) {
  KeychainItem item;
  std::optional<std::string> itemClass;
  const bool whole =
      holds(attributes, schemaAttribute, schema) && take(attributes, classAttribute, itemClass) &&
      take(attributes, accountAttribute, item.account) && take(attributes, serviceAttribute, item.service) &&
      take(attributes, accessGroupAttribute, item.accessGroup) &&
      take(attributes, accessibleAttribute, item.accessible);
  if (!whole || !itemClass) return std::nullopt;
  item.itemClass = *itemClass;
  item.synchronizable = holds(attributes, synchronizableAttribute, flag(true));
  return item;
}

std::string labelOf(const KeychainItem& item) {
  const auto service = item.service.value_or("");
  const auto account = item.account.value_or("");
  const auto label = service + (service.empty() || account.empty() ? "" : " – ") + account;
  return GTextPointer(g_utf8_make_valid(label.data(), static_cast<gssize>(label.size()))).get();
}

}  // namespace corvane
