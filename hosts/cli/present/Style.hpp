#pragma once

#include <string>
#include <string_view>

namespace corvane::cli {

enum class ColorChoice { automatic, always, never };

/// Whether to colour what goes to a stream. `automatic` means on a terminal that can, unless NO_COLOR is set and not
/// empty (https://no-color.org).
bool wantsColor(ColorChoice choice, bool isTerminal);

/// Paints text, or leaves it as it is.
class Style {
 public:
  explicit Style(bool colored) : colored_(colored) {}

  std::string bold(std::string_view text) const { return painted("1", text); }
  std::string dim(std::string_view text) const { return painted("2", text); }
  std::string red(std::string_view text) const { return painted("31", text); }
  std::string green(std::string_view text) const { return painted("32", text); }
  std::string yellow(std::string_view text) const { return painted("33", text); }
  std::string blue(std::string_view text) const { return painted("34", text); }

 private:
  std::string painted(std::string_view code, std::string_view text) const;

  bool colored_;
};

}  // namespace corvane::cli
