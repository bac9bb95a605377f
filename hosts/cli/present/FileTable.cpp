#include "FileTable.hpp"

#include "Escape.hpp"
#include "ReadableSize.hpp"
#include "Times.hpp"

#include <algorithm>
#include <charconv>

namespace corvane::cli {
namespace {

constexpr std::size_t timeWidth = 16;  // "2024-03-01 12:34"
constexpr std::size_t sizeWidth = 10;  // "1023.9 KiB"
constexpr std::size_t gaps = 3 * 2;
constexpr std::size_t idWidth = 33;  // most IDs; the column is the last one, longer ones spoil nothing
constexpr std::size_t usualNameWidth = 40;
constexpr std::size_t leastNameWidth = 12;

std::size_t nameWidthFor(std::size_t terminalColumns) {
  if (terminalColumns == 0) return usualNameWidth;
  constexpr std::size_t others = timeWidth + sizeWidth + idWidth + gaps;
  return std::max(leastNameWidth, terminalColumns > others ? terminalColumns - others : 0);
}

std::string sizeCell(const File& file) {
  if (!file.size) return "-";  // folders, and Google's own documents
  std::int64_t bytes = 0;
  const char* end = file.size->data() + file.size->size();
  const auto [stop, error] = std::from_chars(file.size->data(), end, bytes);
  return error == std::errc() && stop == end ? readableSize(bytes) : escapedName(*file.size);
}

}  // namespace

FileTable::FileTable(std::size_t terminalColumns, Style style)
    : nameWidth_(nameWidthFor(terminalColumns)),
      shorten_(terminalColumns != 0),
      style_(style),
      table_({{"MODIFIED (UTC)", timeWidth},
              {"SIZE", sizeWidth, Table::Align::right},
              {"NAME", nameWidth_},
              {"ID", idWidth}}) {}

std::string FileTable::header() const {
  return style_.bold(table_.header());
}

std::string FileTable::row(const File& file) const {
  const bool folder = file.mimeType == "application/vnd.google-apps.folder";
  std::string name = escapedName(file.name);
  const std::size_t room = nameWidth_ - (folder ? 1 : 0);
  if (shorten_) name = shortened(name, room);
  if (folder) name += "/";
  return table_.row({shortTime(file.modifiedTime), sizeCell(file), name, escapedName(file.id)});
}

}  // namespace corvane::cli
