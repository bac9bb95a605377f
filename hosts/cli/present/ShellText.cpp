#include "ShellText.hpp"

namespace corvane::cli {

std::string shellText(std::string_view text) {
  constexpr std::string_view harmless =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./@:+=,";
  if (!text.empty() && text.find_first_not_of(harmless) == std::string_view::npos) return std::string(text);
  std::string out = "'";
  for (const char c : text) {
    if (c == '\'')
      out += "'\\''";
    else
      out += c;
  }
  return out + "'";
}

}  // namespace corvane::cli
