#include <Corvane/AnyError.hpp>
#include <Corvane/UserInfo.hpp>

#include <array>
#include <charconv>

namespace corvane {

UserInfoValue::UserInfoValue(UserInfo dictionary)
    : value_(std::make_shared<const UserInfo>(std::move(dictionary))) {}

UserInfoValue::UserInfoValue(List list) : value_(std::make_shared<const List>(std::move(list))) {}

UserInfoValue::UserInfoValue(const AnyError& error) : value_(std::make_shared<const AnyError>(error)) {}

namespace {

std::string describe(double number) {
  std::array<char, 32> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr;
  return {buffer.data(), end};
}

std::string describe(const UserInfo& dictionary) {
  if (dictionary.empty()) return "[:]";
  std::string text;
  for (const auto& [key, value] : dictionary)
    text += (text.empty() ? "[" : ", ") + ("\"" + key + "\": ") + value.description();
  return text + "]";
}

std::string describe(const UserInfoValue::List& list) {
  std::string text = "[";
  for (const auto& value : list) text += (text.size() == 1 ? "" : ", ") + value.description();
  return text + "]";
}

}  // namespace

std::string UserInfoValue::description() const {
  if (const auto* value = text()) return *value;
  if (const auto* value = boolean()) return *value ? "true" : "false";
  if (const auto* value = integer()) return std::to_string(*value);
  if (const auto* value = real()) return describe(*value);
  if (const auto* value = dictionary()) return describe(*value);
  if (const auto* value = list()) return describe(*value);
  if (const auto* value = error()) return value->localizedDescription();
  const auto* value = printable();
  return value ? value->description() : "nil";
}

}  // namespace corvane
