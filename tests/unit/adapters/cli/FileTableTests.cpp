#include "Samples.hpp"
#include "present/Escape.hpp"
#include "present/FileTable.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace corvane::cli::test {
namespace {

using testing::HasSubstr;

TEST(FileTable, ColumnsLineUpWhateverTheNamesAre) {
  const FileTable table(0, Style(false));
  const auto columnOfID = [&table](const char* name) {
    const std::string row = table.row(fileNamed(name));
    return displayWidth(row.substr(0, row.find("1AbC")));
  };
  const std::string header = table.header();
  const std::size_t expected = header.find("ID");
  for (const char* name : {"a", "日本語.txt", "e\u0301te\u0301", "evil\nname", ""})
    EXPECT_EQ(columnOfID(name), expected) << name;
}

TEST(FileTable, RowShowsTimeSizeNameAndID) {
  EXPECT_EQ(FileTable(0, Style(false)).row(fileNamed("notes.txt")),
            "2024-03-01 12:34     1.5 KiB  notes.txt                                 1AbC");
}

TEST(FileTable, FoldersEndInASlashAndHaveNoSize) {
  File folder = fileNamed("Photos");
  folder.mimeType = "application/vnd.google-apps.folder";
  folder.size.reset();
  EXPECT_THAT(FileTable(0, Style(false)).row(folder), HasSubstr("           -  Photos/ "));
}

TEST(FileTable, LongNamesAreShortenedOnATerminalOnly) {
  const std::string name(100, 'x');
  EXPECT_THAT(FileTable(0, Style(false)).row(fileNamed(name)), HasSubstr(name));
  EXPECT_EQ(displayWidth(FileTable(100, Style(false)).row(fileNamed(name))), 100u - 33u + 4u);
}

TEST(FileTable, RowFitsATerminalOf80Columns) {
  File file = fileNamed(std::string(100, 'x'));
  file.id = "1wXFC99e3PFOIc2mZzWUcwSzwUrvjsLON";
  EXPECT_EQ(displayWidth(FileTable(80, Style(false)).row(file)), 80u);
}

TEST(FileTable, NarrowTerminalStillLeavesRoomForNames) {
  EXPECT_THAT(FileTable(20, Style(false)).row(fileNamed("0123456789ab")), HasSubstr("0123456789ab"));
}

TEST(FileTable, HostileNamesStayOnTheirRow) {
  const std::string row = FileTable(0, Style(false)).row(fileNamed("a\nb\x1b[2J\u202E"));
  EXPECT_THAT(row, HasSubstr("a\\nb\\x1b[2J\\u{202e}"));
  EXPECT_EQ(row.find('\n'), std::string::npos);
}

TEST(FileTable, SizeThatIsNoNumberIsShownAsItCame) {
  File file = fileNamed("x");
  file.size = "many\n";
  EXPECT_THAT(FileTable(0, Style(false)).row(file), HasSubstr("many\\n"));
}

}  // namespace
}  // namespace corvane::cli::test
