#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::cli {

/// Lines up cells in columns of fixed width, so that a row can be printed before the next one is known.
class Table {
 public:
  enum class Align { left, right };
  struct Column {
    std::string title;
    std::size_t width;  // in terminal columns; a longer cell pushes the rest of its row to the right
    Align align = Align::left;
  };

  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  std::string header() const;
  /// One line for one cell per column; cells are measured as they are shown, so they must be escaped already.
  std::string row(const std::vector<std::string>& cells) const;

 private:
  std::vector<Column> columns_;
};

/// Text filled up with blanks to a width.
std::string aligned(std::string_view text, std::size_t width, Table::Align align);

}  // namespace corvane::cli
