#include "drive/FileQuery.hpp"

#include <string>
#include <vector>

namespace corvane::emulator {
namespace {

/// Words, quoted words (with their quotes) and `=`.
std::vector<std::string_view> tokens(std::string_view text) {
  std::vector<std::string_view> result;
  while (!text.empty()) {
    std::size_t length = 1;
    if (text.front() == ' ') {
      text.remove_prefix(1);
      continue;
    }
    if (text.front() == '\'') {
      const auto closing = text.find('\'', 1);
      length = closing == std::string_view::npos ? text.size() : closing + 1;
    } else if (text.front() != '=') {
      length = std::min(text.find_first_of(" ='"), text.size());
    }
    result.push_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return result;
}

}  // namespace

std::optional<FileQuery> FileQuery::parse(std::string_view text) {
  FileQuery query;
  const auto words = tokens(text);
  // Each of both terms has three words, and `and` is between terms.
  for (std::size_t i = 0; i == 0 || i < words.size(); i += 4) {
    if (words.size() < i + 3) return std::nullopt;
    if (i > 0 && words[i - 1] != "and") return std::nullopt;
    const auto last = words[i + 2];
    if (words[i] == "'me'" && words[i + 1] == "in" && last == "owners") {
      if (query.ownedByMe) return std::nullopt;
      query.ownedByMe = true;
    } else if (words[i] == "trashed" && words[i + 1] == "=" && (last == "true" || last == "false")) {
      if (query.trashed) return std::nullopt;
      query.trashed = last == "true";
    } else {
      return std::nullopt;
    }
  }
  if (words.size() % 4 != 3) return std::nullopt;
  return query;
}

}  // namespace corvane::emulator
