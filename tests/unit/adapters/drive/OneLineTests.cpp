#include <drive/OneLine.hpp>

#include <gtest/gtest.h>

#include <string>

namespace corvane {
namespace {

TEST(OneLine, OrdinaryTextStaysAsItIs) {
  EXPECT_EQ(oneLine("Ä file “x” 😀 of 3 €", ""), "Ä file “x” 😀 of 3 €");
}

TEST(OneLine, LineBreaksAndTabsBecomeSpaces) {
  EXPECT_EQ(oneLine("a\nb\rc\td\ve\ff\u0085g\u2028h\u2029i", ""), "a b c d e f g h i");
}

TEST(OneLine, ControlCharactersAreReplaced) {
  EXPECT_EQ(oneLine(std::string_view("a\0b\x1B[31mc\x7F", 10), ""), "a\uFFFDb\uFFFD[31mc\uFFFD");
  EXPECT_EQ(oneLine("\xC2\x80\xC2\x9F\xC2\xA0", ""), "\uFFFD\uFFFD\u00A0");
}

TEST(OneLine, MarksOfWritingDirectionAreReplaced) {
  for (const auto* mark : {"\u200E", "\u200F", "\u202A", "\u202B", "\u202C", "\u202D", "\u202E", "\u2066",
                           "\u2067", "\u2068", "\u2069"})
    EXPECT_EQ(oneLine(std::string("a") + mark + "b", ""), "a\uFFFDb");
  EXPECT_EQ(oneLine("\u2010\u2065\u206A\u2030", ""), "\u2010\u2065\u206A\u2030");
}

TEST(OneLine, LongTextIsCutBetweenCharacters) {
  EXPECT_EQ(oneLine("ääää", "", 5), "ää…");
  EXPECT_EQ(oneLine("abcde", "", 5), "abcde");
  EXPECT_EQ(oneLine("abcdef", "", 5), "abcde…");
}

TEST(OneLine, TheSecretIsStruckOutWhereverItStands) {
  EXPECT_EQ(oneLine("s3cret and s3crets3cret", "s3cret"), "… and ……");
  EXPECT_EQ(oneLine("s3cre", "s3cret"), "s3cre");
}

TEST(OneLine, ACutOffSequenceDoesNotReadPastTheText) {
  EXPECT_EQ(oneLine("a\xE2\x80", ""), "a\xE2\x80");
  EXPECT_EQ(oneLine("\xF0", ""), "\xF0");
}

}  // namespace
}  // namespace corvane
