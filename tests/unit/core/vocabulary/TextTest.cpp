#include <CorvanePlatform/Text.hpp>
#include <CorvanePlatform/URL.hpp>

#include <gtest/gtest.h>

#include "UTF8.hpp"

using namespace corvane;

TEST(Text, IsEqualByCanonicalEquivalenceWithLetterCaseKept) {
  EXPECT_TRUE(textEqual("ada", "ada"));
  EXPECT_FALSE(textEqual("ada", "Ada"));
  EXPECT_TRUE(textEqual("caf\u00E9", "cafe\u0301"));
  EXPECT_FALSE(textEqual("cafe", "caf\u00E9"));
  EXPECT_TRUE(textEqual("", ""));
}

TEST(Text, HashesEqualTextsEqually) {
  EXPECT_EQ(textHash("caf\u00E9"), textHash("cafe\u0301"));
  EXPECT_EQ(TextHash{}("ada"), textHash("ada"));
  EXPECT_NE(textHash("ada"), textHash("Ada"));
}

TEST(UTF8, AcceptsWellFormedTextsOfEveryLength) {
  EXPECT_TRUE(isValidUTF8(""));
  EXPECT_TRUE(isValidUTF8("ascii"));
  EXPECT_TRUE(isValidUTF8("\u00E9\u2601\U0001F600"));
  EXPECT_TRUE(isValidUTF8("\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"));
}

TEST(UTF8, RefusesWhatIsNotWellFormed) {
  EXPECT_FALSE(isValidUTF8("\x80")) << "a continuation on its own";
  EXPECT_FALSE(isValidUTF8("\xC0\xAF")) << "overlong, two bytes";
  EXPECT_FALSE(isValidUTF8("\xE0\x80\xAF")) << "overlong, three bytes";
  EXPECT_FALSE(isValidUTF8("\xF0\x80\x80\xAF")) << "overlong, four bytes";
  EXPECT_FALSE(isValidUTF8("\xED\xA0\x80")) << "a surrogate";
  EXPECT_FALSE(isValidUTF8("\xF4\x90\x80\x80")) << "beyond U+10FFFF";
  EXPECT_FALSE(isValidUTF8("\xF5\x80\x80\x80"));
  EXPECT_FALSE(isValidUTF8("a\xE2\x98")) << "cut off";
  EXPECT_FALSE(isValidUTF8("\xE2\x28\xA1"));
  EXPECT_FALSE(isValidUTF8("\xE2\x98\x28"));
}

TEST(URL, ParsesAbsoluteURLsAndKeepsTheirText) {
  EXPECT_EQ(URL::parse("https://drive.google.com/")->absoluteString(), "https://drive.google.com/");
  EXPECT_TRUE(URL::parse("http://127.0.0.1:8080/a?b=c#d"));
}

TEST(URL, RefusesWhatIsNotOne) {
  for (const auto* text : {"", "drive.google.com", "https://", "https:///path", "1https://host", "://host",
                           "https://host/with blank", "https://h\u00F6st/"})
    EXPECT_FALSE(URL::parse(text)) << text;
}
