#include "Style.hpp"

#include <cstdlib>

namespace corvane::cli {
namespace {

bool isSet(const char* name) {
  const char* value = std::getenv(name);
  return value && *value;
}

}  // namespace

bool wantsColor(ColorChoice choice, bool isTerminal) {
  if (choice != ColorChoice::automatic) return choice == ColorChoice::always;
  const char* terminal = std::getenv("TERM");
  return isTerminal && !isSet("NO_COLOR") && terminal && std::string_view(terminal) != "dumb";
}

std::string Style::painted(std::string_view code, std::string_view text) const {
  if (!colored_ || text.empty()) return std::string(text);
  std::string out = "\x1b[";
  out.append(code).append("m").append(text).append("\x1b[0m");
  return out;
}

}  // namespace corvane::cli
