#include "BrowserVariable.hpp"

#include <algorithm>

namespace corvane {

namespace {

std::vector<std::string> split(std::string_view text, std::string_view separators) {
  std::vector<std::string> parts;
  while (!text.empty()) {
    const auto end = std::min(text.find_first_of(separators), text.size());
    if (end > 0) parts.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

}  // namespace

std::vector<std::vector<std::string>> browserCommands(std::string_view variable) {
  std::vector<std::vector<std::string>> commands;
  for (const auto& entry : split(variable, ":")) {
    auto words = split(entry, " \t");
    if (!words.empty() && words.back() == "%s") words.pop_back();
    const bool urlElsewhere = std::any_of(words.begin(), words.end(), [](const std::string& word) {
      return word.find("%s") != std::string::npos;
    });
    if (!words.empty() && !urlElsewhere) commands.push_back(std::move(words));
  }
  return commands;
}

}  // namespace corvane
