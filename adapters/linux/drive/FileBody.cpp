#include "FileBody.hpp"

#include <RFC3339.hpp>

#include <string>
#include <string_view>

namespace corvane {
namespace {

std::string quoted(std::string_view text) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string json = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      json += '\\';
      json += c;
    } else if (byte < 0x20) {
      json += "\\u00";
      json += digits[byte >> 4U];
      json += digits[byte & 0xFU];
    } else {
      json += c;
    }
  }
  return json + '"';
}

std::string value(const std::string& text) {
  return quoted(text);
}
std::string value(bool flag) {
  return flag ? "true" : "false";
}
// An int64 is written as text, as Google writes it: other readers' numbers are doubles.
std::string value(std::int64_t number) {
  return quoted(std::to_string(number));
}
std::string value(Date date) {
  return quoted(formatRFC3339(date));
}
std::string value(const std::vector<std::string>& texts) {
  std::string json = "[";
  for (const auto& text : texts) json += (json.size() == 1 ? "" : ",") + quoted(text);
  return json + ']';
}

template <class Value>
void add(std::string& json, std::string_view name, const std::optional<Value>& member) {
  if (!member) return;
  if (json.size() > 1) json += ',';
  json += quoted(name) + ':' + value(*member);
}

}  // namespace

Data fileBody(const GTLRDrive_File& file) {
  std::string json = "{";
  add(json, "id", file.identifier);
  add(json, "mimeType", file.mimeType);
  add(json, "name", file.name);
  add(json, "size", file.size);
  add(json, "shared", file.shared);
  add(json, "trashed", file.trashed);
  add(json, "createdTime", file.createdTime);
  add(json, "modifiedTime", file.modifiedTime);
  add(json, "parents", file.parents);
  add(json, "iconLink", file.iconLink);
  add(json, "webViewLink", file.webViewLink);
  return dataFromText(json + '}');
}

}  // namespace corvane
