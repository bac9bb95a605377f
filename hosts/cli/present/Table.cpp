#include "Table.hpp"

#include "Escape.hpp"

namespace corvane::cli {

std::string aligned(std::string_view text, std::size_t width, Table::Align align) {
  const std::size_t taken = displayWidth(text);
  const std::string blanks(width > taken ? width - taken : 0, ' ');
  return align == Table::Align::right ? blanks + std::string(text) : std::string(text) + blanks;
}

std::string Table::header() const {
  std::vector<std::string> titles;
  for (const auto& column : columns_) titles.push_back(column.title);
  return row(titles);
}

std::string Table::row(const std::vector<std::string>& cells) const {
  std::string line;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const bool last = i + 1 == columns_.size();
    const auto& [title, width, align] = columns_[i];
    line += last && align == Align::left ? cells.at(i) : aligned(cells.at(i), width, align);
    if (!last) line += "  ";
  }
  return line;
}

}  // namespace corvane::cli
