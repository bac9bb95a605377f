// Text equality by canonical equivalence: two texts are equal when their canonical decompositions (NFD, UAX #15) are.
//
// The library decomposes one character at a time; putting the marks in order is done here, because the library's own
// ordering takes quadratic time on a long run of marks and counts its lengths in a narrower way than texts need.
#include <CorvanePlatform/Text.hpp>

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <string>

namespace corvane::detail {
namespace {

utf8proc_propval_t combiningClass(char32_t character) {
  return utf8proc_get_property(static_cast<utf8proc_int32_t>(character))->combining_class;
}

void appendDecomposed(std::u32string& form, utf8proc_int32_t character) {
  std::array<utf8proc_int32_t, 32> parts{};
  int unusedBoundary = 0;
  const auto count = utf8proc_decompose_char(
      character, parts.data(), static_cast<utf8proc_ssize_t>(parts.size()),
      static_cast<utf8proc_option_t>(UTF8PROC_DECOMPOSE | UTF8PROC_STABLE), &unusedBoundary);
  for (utf8proc_ssize_t i = 0; i < count; ++i)
    form.push_back(static_cast<char32_t>(parts[static_cast<std::size_t>(i)]));
}

// UAX #15, canonical ordering: within a run of marks by class, equal classes as they stand.
void orderMarks(std::u32string& form) {
  const auto isMark = [](char32_t character) { return combiningClass(character) != 0; };
  const auto byClass = [](char32_t left, char32_t right) {
    return combiningClass(left) < combiningClass(right);
  };
  auto from = form.begin();
  while ((from = std::find_if(from, form.end(), isMark)) != form.end()) {
    const auto to = std::find_if_not(from, form.end(), isMark);
    std::stable_sort(from, to, byClass);
    from = to;
  }
}

// Empty when the text is not UTF-8.
std::optional<std::u32string> canonicalForm(std::string_view text) {
  std::u32string form;
  form.reserve(text.size());
  while (!text.empty()) {
    utf8proc_int32_t character = 0;
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    const auto available = static_cast<utf8proc_ssize_t>(std::min<std::size_t>(text.size(), 4));
    const auto length = utf8proc_iterate(bytes, available, &character);
    if (length <= 0) return std::nullopt;
    appendDecomposed(form, character);
    text.remove_prefix(static_cast<std::size_t>(length));
  }
  orderMarks(form);
  return form;
}

std::string toUTF8(const std::u32string& form) {
  std::string text;
  text.reserve(form.size() * 2);
  for (const char32_t character : form) {
    std::array<utf8proc_uint8_t, 4> bytes{};
    const auto length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(character), bytes.data());
    text.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
  }
  return text;
}

}  // namespace

bool canonicallyEqual(std::string_view left, std::string_view right) {
  if (left == right) return true;
  const auto leftForm = canonicalForm(left);
  return leftForm && leftForm == canonicalForm(right);
}

std::size_t canonicalHash(std::string_view text) {
  // Of the bytes, as the quick hash of ASCII texts is: some characters outside ASCII decompose into it (KELVIN SIGN).
  const auto form = canonicalForm(text);
  return form ? std::hash<std::string_view>{}(toUTF8(*form)) : std::hash<std::string_view>{}(text);
}

}  // namespace corvane::detail
