// Text equality has no object to hand in: a program links one implementation, and these tests are linked with it.
#include <CorvanePlatform/Text.hpp>

#include <gtest/gtest.h>

#include <string>

namespace corvane {
namespace {

void expectEqual(std::string_view left, std::string_view right) {
  EXPECT_TRUE(textEqual(left, right)) << left << " / " << right;
  EXPECT_TRUE(textEqual(right, left)) << left << " / " << right;
  EXPECT_EQ(textHash(left), textHash(right)) << left << " / " << right;
}

void expectUnequal(std::string_view left, std::string_view right) {
  EXPECT_FALSE(textEqual(left, right)) << left << " / " << right;
  EXPECT_FALSE(textEqual(right, left)) << left << " / " << right;
}

TEST(TextEquality, HoldsForTheSameBytes) {
  expectEqual("", "");
  expectEqual("anna@example.com", "anna@example.com");
  expectEqual("\u00E9", "\u00E9");
}

TEST(TextEquality, KeepsCaseAndBlanks) {
  expectUnequal("Anna", "anna");
  expectUnequal("a", "a ");
  expectUnequal("", "a");
}

TEST(TextEquality, HoldsBetweenComposedAndDecomposedLetters) {
  expectEqual("caf\u00E9", "cafe\u0301");
  expectEqual("\u00E5ngstr\u00F6m", "a\u030Angstro\u0308m");
  expectEqual("\u1E69", "s\u0323\u0307");
}

TEST(TextEquality, DistinguishesAnAccentFromNone) {
  expectUnequal("caf\u00E9", "cafe");
  expectUnequal("e\u0301", "e\u0300");
}

TEST(TextEquality, HoldsForSingletonsWhoseTwinIsASCIIOrNot) {
  expectEqual("\u212A", "K");       // KELVIN SIGN
  expectEqual("\u037E", ";");       // GREEK QUESTION MARK
  expectEqual("\u1FEF", "`");       // GREEK VARIA
  expectEqual("\u212B", "\u00C5");  // ANGSTROM SIGN
  expectEqual("\u2126", "\u03A9");  // OHM SIGN
  expectUnequal("\u212A", "k");
}

TEST(TextEquality, IsNotCompatibilityEquivalence) {
  expectUnequal("\uFB01", "fi");  // LATIN SMALL LIGATURE FI
  expectUnequal("\u00B2", "2");   // SUPERSCRIPT TWO
  expectUnequal("\uFF21", "A");   // FULLWIDTH A
  expectUnequal("\u00A0", " ");   // NO-BREAK SPACE
}

TEST(TextEquality, IgnoresTheOrderOfMarksOfDifferentClassesOnly) {
  expectEqual("q\u0307\u0323", "q\u0323\u0307");
  expectEqual("s\u0307\u0323", "\u1E69");
  expectUnequal("a\u0301\u0300", "a\u0300\u0301");
  expectEqual("\u0323\u0307", "\u0307\u0323");
}

TEST(TextEquality, HoldsForHangulSyllablesAndTheirLetters) {
  expectEqual("\uAC00", "\u1100\u1161");
  expectEqual("\uD55C\uAE00", "\u1112\u1161\u11AB\u1100\u1173\u11AF");
  expectUnequal("\uAC00", "\uAC01");
}

TEST(TextEquality, HoldsForCharactersBeyondTheBasicPlane) {
  expectEqual("\U0001D15E", "\U0001D157\U0001D165");  // MUSICAL SYMBOL HALF NOTE
  expectEqual("\U0002F800", "\u4E3D");                // CJK COMPATIBILITY IDEOGRAPH-2F800
}

TEST(TextEquality, CountsNULs) {
  using namespace std::string_literals;
  expectUnequal("\u00E9\0a"s, "e\u0301\0b"s);
  expectUnequal("\u00E9\0"s, "e\u0301"s);
  expectEqual("\u00E9\0a"s, "e\u0301\0a"s);
}

TEST(TextEquality, HoldsForBytesThatAreNotUTF8OnlyWhenTheyAreTheSame) {
  expectEqual("\xFF", "\xFF");
  expectUnequal("\xFF", "\xFE");
  expectUnequal("\u00E9\xFF", "e\u0301\xFF");
  expectUnequal("\xC0\xAF", "/");
  expectUnequal("\xED\xA0\x80", "\xEF\xBF\xBD");
  expectUnequal("\u00E9\xC3", "e\u0301\xC3");
  expectUnequal("\xF4\x90\x80\x80", "\xFF");
}

TEST(TextEquality, TakesLongRunsOfMarksQuickly) {
  constexpr std::size_t count = 20'000;
  std::string rising = "a";
  std::string falling = "a";
  for (std::size_t i = 0; i < count; ++i) rising += "\u0323";
  for (std::size_t i = 0; i < count; ++i) rising += "\u0307";
  for (std::size_t i = 0; i < count; ++i) falling += "\u0307";
  for (std::size_t i = 0; i < count; ++i) falling += "\u0323";
  EXPECT_TRUE(textEqual(rising, falling));
  EXPECT_EQ(textHash(rising), textHash(falling));
}

}  // namespace
}  // namespace corvane
