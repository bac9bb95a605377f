#include "HeaderLines.hpp"

namespace corvane {

void HeaderLines::add(std::string_view name, std::string_view value) {
  append(name);
  append(value.empty() ? ";" : ": ");
  append(value);
  endLine();
}

void HeaderLines::addBearer(std::string_view token) {
  append("Authorization: Bearer ");
  append(token);
  endLine();
}

void HeaderLines::addLine(std::string_view line) {
  append(line);
  endLine();
}

void HeaderLines::endLine() {
  text_.push_back('\0');
  ends_.push_back(text_.size());
}

curl_slist* HeaderLines::list() {
  nodes_.resize(ends_.size());
  std::size_t begin = 0;
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    nodes_[i] = {text_.data() + begin, i + 1 < nodes_.size() ? &nodes_[i + 1] : nullptr};
    begin = ends_[i];
  }
  return nodes_.empty() ? nullptr : nodes_.data();
}

}  // namespace corvane
