#pragma once

#include "Style.hpp"
#include "Table.hpp"

#include <Corvane/File.hpp>

#include <cstddef>
#include <string>

namespace corvane::cli {

/// Files as rows of "modified, size, name, ID". Folders end in "/". On a terminal names are shortened so that a row
/// fits; elsewhere they are whole.
class FileTable {
 public:
  /// `terminalColumns` is 0 when the rows do not go to a terminal.
  FileTable(std::size_t terminalColumns, Style style);

  std::string header() const;
  std::string row(const File& file) const;

 private:
  std::size_t nameWidth_;
  bool shorten_;
  Style style_;
  Table table_;
};

}  // namespace corvane::cli
