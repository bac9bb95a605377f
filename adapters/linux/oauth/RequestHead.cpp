#include "RequestHead.hpp"

#include <algorithm>
#include <utility>

namespace corvane {

namespace {

// Takes the next line, without its end, off the text; nothing when there is no whole line.
std::optional<std::string_view> takeLine(std::string_view& text) {
  const auto end = text.find("\r\n");
  if (end == std::string_view::npos) return std::nullopt;
  const auto line = text.substr(0, end);
  text.remove_prefix(end + 2);
  return line;
}

bool isVisible(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c > 0x20 && c < 0x7F; });
}

bool isHeaderValue(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return c == '\0' || c == '\r' || c == '\n'; });
}

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool isNamed(std::string_view name, std::string_view inLowerCase) {
  return std::equal(
      name.begin(), name.end(), inLowerCase.begin(), inLowerCase.end(), [](char left, char right) {
        return (left >= 'A' && left <= 'Z' ? static_cast<char>(left - 'A' + 'a') : left) == right;
      });
}

bool readRequestLine(std::string_view line, RequestHead& head) {
  const auto first = line.find(' ');
  const auto last = line.rfind(' ');
  if (first == std::string_view::npos || first == last) return false;
  const auto version = line.substr(last + 1);
  const auto target = line.substr(first + 1, last - first - 1);
  head.method = line.substr(0, first);
  const auto question = std::min(target.find('?'), target.size());
  head.path = target.substr(0, question);
  head.query = target.substr(std::min(target.size(), question + 1));
  return (version == "HTTP/1.1" || version == "HTTP/1.0") && !head.method.empty() && isVisible(head.method) &&
         !target.empty() && target.front() == '/' && isVisible(target);
}

}  // namespace

std::optional<RequestHead> RequestHead::parse(std::string_view text) {
  RequestHead head;
  const auto requestLine = takeLine(text);
  if (!requestLine || !readRequestLine(*requestLine, head)) return std::nullopt;
  int hosts = 0;
  head.headers = text;
  for (;;) {
    const auto line = takeLine(text);
    if (!line) return std::nullopt;
    if (line->empty()) break;
    const auto colon = line->find(':');
    if (colon == 0 || colon == std::string_view::npos) return std::nullopt;
    const auto name = line->substr(0, colon);
    if (!isVisible(name) || !isHeaderValue(*line)) return std::nullopt;
    if (!isNamed(name, "host")) continue;
    head.host = trimmed(line->substr(colon + 1));
    ++hosts;
  }
  if (hosts != 1) head.host = {};
  return head;
}

std::string_view RequestHead::header(std::string_view name) const {
  auto rest = headers;
  for (auto line = takeLine(rest); line && !line->empty(); line = takeLine(rest)) {
    const auto colon = std::min(line->find(':'), line->size());
    if (isNamed(line->substr(0, colon), name)) return trimmed(line->substr(colon + 1));
  }
  return {};
}

}  // namespace corvane
