#include "FormEncoding.hpp"

#include <algorithm>
#include <set>

namespace corvane {

namespace {

bool isUnreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

template <class Output>
void encodeInto(Output& output, std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  using Element = typename Output::value_type;
  const auto put = [&output](char c) { output.push_back(static_cast<Element>(c)); };
  for (const char c : text) {
    if (isUnreserved(c)) {
      put(c);
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    put('%');
    put(digits[byte >> 4]);
    put(digits[byte & 0x0F]);
  }
}

std::optional<int> hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return std::nullopt;
}

std::optional<Data> decoded(std::string_view text) {
  Data bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes.push_back(static_cast<std::byte>(text[i] == '+' ? ' ' : text[i]));
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    const auto high = hexValue(text[i + 1]);
    const auto low = hexValue(text[i + 2]);
    if (!high || !low) return std::nullopt;
    bytes.push_back(static_cast<std::byte>(*high * 16 + *low));
    i += 2;
  }
  return bytes;
}

}  // namespace

std::string percentEncoded(std::string_view text) {
  std::string encoded;
  appendPercentEncoded(encoded, text);
  return encoded;
}

void appendPercentEncoded(std::string& text, std::string_view value) {
  encodeInto(text, value);
}

FormBody& FormBody::add(std::string_view name, std::string_view value) {
  if (!bytes_.empty()) append("&");
  encodeInto(bytes_, name);
  append("=");
  encodeInto(bytes_, value);
  return *this;
}

void FormBody::append(std::string_view text) {
  for (const char c : text) bytes_.push_back(static_cast<std::byte>(c));
}

std::optional<FormParameters> parseForm(std::string_view text) {
  FormParameters parameters;
  std::set<std::string, std::less<>> names;
  while (!text.empty()) {
    const auto part = text.substr(0, text.find('&'));
    text.remove_prefix(std::min(text.size(), part.size() + 1));
    if (part.empty()) continue;
    const auto separator = std::min(part.find('='), part.size());
    const auto name = decoded(part.substr(0, separator));
    const auto value = decoded(part.substr(std::min(part.size(), separator + 1)));
    if (!name || !value || !names.emplace(textView(*name)).second) return std::nullopt;
    parameters.emplace_back(textView(*name), Secret(textView(*value)));
  }
  return parameters;
}

const Secret* findParameter(const FormParameters& parameters, std::string_view name) {
  const auto found = std::find_if(parameters.begin(), parameters.end(),
                                  [name](const auto& parameter) { return parameter.first == name; });
  return found == parameters.end() ? nullptr : &found->second;
}

}  // namespace corvane
