#include "Outputs.hpp"

#include <Corvane/AnyError.hpp>

#include <algorithm>

namespace corvane::test {
namespace {

std::string printed(const NSError& error);

std::string printed(const UserInfoValue& value) {
  std::string text = value.description();
  if (const auto* dictionary = value.dictionary())
    for (const auto& [key, inner] : *dictionary) text += "\n" + key + ": " + printed(inner);
  if (const auto* list = value.list())
    for (const auto& inner : *list) text += "\n" + printed(inner);
  if (const auto* error = value.error()) text += "\n" + printed(error->nsError());
  return text;
}

std::string printed(const NSError& error) {
  std::string text =
      error.domain() + " " + std::to_string(error.code()) + "\n" + error.localizedDescription();
  for (const auto& [key, value] : error.userInfo()) text += "\n" + key + ": " + printed(value);
  return text;
}

std::string percentEncoded(std::string_view bytes, std::string_view digits) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                       c == '-' || c == '.' || c == '_' || c == '~';
    if (plain)
      text += c;
    else
      (text += '%').append({digits[byte >> 4], digits[byte & 15]});
  }
  return text;
}

std::string hexadecimal(std::string_view bytes, std::string_view digits) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text.append({digits[byte >> 4], digits[byte & 15]});
  }
  return text;
}

/// What base64 makes of the bytes after `offset` others, without the characters that depend on what is around them.
std::string base64(std::string_view bytes, std::size_t offset, std::string_view last) {
  const std::string digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789" + std::string(last);
  const std::string padded = std::string(offset, '\0') + std::string(bytes);
  std::string text;
  for (std::size_t i = 0; i + 2 < padded.size(); i += 3) {
    const auto byte = [&](std::size_t j) { return static_cast<unsigned char>(padded[i + j]); };
    const unsigned group = (unsigned{byte(0)} << 16) | (unsigned{byte(1)} << 8) | byte(2);
    for (int shift = 18; shift >= 0; shift -= 6) text += digits[(group >> shift) & 63];
  }
  return text.substr(offset == 0 ? 0 : 4);
}

std::vector<std::string> formsOf(std::string_view secret) {
  std::vector<std::string> forms{std::string(secret)};
  for (const auto* digits : {"0123456789ABCDEF", "0123456789abcdef"}) {
    forms.push_back(percentEncoded(secret, digits));
    forms.push_back(hexadecimal(secret, digits));
  }
  for (const auto* last : {"+/", "-_"})
    for (const std::size_t offset : {0u, 1u, 2u}) forms.push_back(base64(secret, offset, last));
  return forms;
}

}  // namespace

void Outputs::add(const std::string& where, std::string_view text) {
  (texts_[where] += text) += '\n';
}

void Outputs::add(const std::string& where, const NSError& error) {
  add(where, printed(error));
}

std::vector<std::string> Outputs::placesOf(std::string_view secret) const {
  std::vector<std::string> places;
  const auto forms = formsOf(secret);
  for (const auto& [where, text] : texts_) {
    const bool holds = std::any_of(forms.begin(), forms.end(),
                                   [&](const auto& form) { return text.find(form) != std::string::npos; });
    if (holds) places.push_back(where);
  }
  return places;
}

std::size_t Outputs::size() const {
  std::size_t size = 0;
  for (const auto& [where, text] : texts_) size += text.size();
  return size;
}

}  // namespace corvane::test
