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

constexpr auto token = "ya29.a0AfB_byC-0123456789abcdefghij";

TEST(OneLine, ASecretShortOfSomeCharactersIsStruckOut) {
  const std::string whole = token;
  for (std::size_t begin = 0; begin + 16 <= whole.size(); ++begin)
    for (std::size_t length = 16; begin + length <= whole.size(); ++length)
      EXPECT_EQ(oneLine("bad token <" + whole.substr(begin, length) + ">.", token),
                "bad token <…>.")
          << begin << " " << length;
}

TEST(OneLine, FifteenCharactersOfASecretStay) {
  EXPECT_EQ(oneLine(std::string(token).substr(5, 15), token), std::string(token).substr(5, 15));
}

TEST(OneLine, PartsOfASecretAreStruckOutWhereverTheyStand) {
  const std::string whole = token;
  EXPECT_EQ(oneLine(whole.substr(0, 20) + whole.substr(10) + whole, token), "………");
  EXPECT_EQ(oneLine(whole.substr(0, 17) + "\n" + whole.substr(17), token), "… …");
}

TEST(OneLine, ASecretRepeatedManyTimesKeepsTheTextShort) {
  std::string text;
  for (int i = 0; i < 1'000; ++i) text += token;
  EXPECT_LE(oneLine(text, token, 30).size(), 33u);
}

TEST(OneLine, ACutOffSequenceDoesNotReadPastTheText) {
  EXPECT_EQ(oneLine("a\xE2\x80", ""), "a\xE2\x80");
  EXPECT_EQ(oneLine("\xF0", ""), "\xF0");
}

}  // namespace
}  // namespace corvane
