#include "present/Escape.hpp"

#include <gtest/gtest.h>

namespace corvane::cli::test {
namespace {

TEST(Escape, OrdinaryNamesOfAllScriptsStayAsTheyAre) {
  for (const char* name : {"report.pdf", "Grüße & Küsse.txt", "日本語.txt", "עברית",
                           "👩‍👩‍👧 family.jpg", "e\u0301.txt"})
    EXPECT_EQ(escapedName(name), name);
}

TEST(Escape, ControlCharactersCannotReachTheTerminal) {
  EXPECT_EQ(escapedName("two\nlines\tand\r\x1b[31mred\x7f"), "two\\nlines\\tand\\r\\x1b[31mred\\x7f");
  EXPECT_EQ(escapedName(std::string_view("nul\0byte", 8)), "nul\\x00byte");
  EXPECT_EQ(escapedName("c1 \u009b31m"), "c1 \\u{009b}31m");
}

TEST(Escape, CharactersThatReorderHideOrEndTheLineAreShown) {
  EXPECT_EQ(escapedName("a\u202Egnp.exe"), "a\\u{202e}gnp.exe");
  EXPECT_EQ(escapedName("\u2066x\u2069 \u200Bz \u2028 \uFEFF"),
            "\\u{2066}x\\u{2069} \\u{200b}z \\u{2028} \\u{feff}");
}

TEST(Escape, BytesThatAreNotUTF8AreShownOneByOne) {
  EXPECT_EQ(escapedName("a\xff\xc3(b"), "a\\xff\\xc3(b");
  EXPECT_EQ(escapedName("cut \xe2\x82"), "cut \\xe2\\x82");
  EXPECT_EQ(escapedName("\xed\xa0\x80"), "\\xed\\xa0\\x80");  // a surrogate
}

TEST(Escape, BackslashIsDoubledInNamesSoThatEscapesCannotBeForged) {
  EXPECT_EQ(escapedName("a\\nb"), "a\\\\nb");
  EXPECT_EQ(escapedProse("a\\nb"), "a\\nb");
}

TEST(DisplayWidth, CountsTerminalColumns) {
  EXPECT_EQ(displayWidth(""), 0u);
  EXPECT_EQ(displayWidth("abc"), 3u);
  EXPECT_EQ(displayWidth("日本"), 4u);
  EXPECT_EQ(displayWidth("e\u0301"), 1u);
  EXPECT_EQ(displayWidth("ü…"), 2u);
}

TEST(Shortened, KeepsBothEndsWithinTheWidth) {
  EXPECT_EQ(shortened("short", 5), "short");
  EXPECT_EQ(shortened("a-rather-long-name.pdf", 13), "a-rather….pdf");
}

TEST(Shortened, NeverExceedsTheWidthNorCutsACharacter) {
  for (std::size_t width = 0; width < 12; ++width) {
    const std::string text = shortened("日本語の長い名前.txt", width);
    EXPECT_LE(displayWidth(text), width);
    EXPECT_EQ(escapedName(text), text);
  }
}

}  // namespace
}  // namespace corvane::cli::test
