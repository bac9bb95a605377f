#include "nlohmann/NlohmannJSON.hpp"

#include <Corvane/About.hpp>
#include <Corvane/FilesPage.hpp>

#include <gmock/gmock.h>

#include <limits>
#include <string>

#include "contract/json/JSONContract.hpp"
#include "nlohmann/DecimalNumber.hpp"

namespace corvane::test {
namespace {

using Case = DecodingError::Case;
using ::testing::HasSubstr;
using ::testing::Not;

const CodingKey key("key");

std::unique_ptr<KeyedDecodingContainer> objectWith(std::string_view value) {
  return NlohmannJSON().decoder(dataFromText("{\"key\":" + std::string(value) + "}"))->keyedContainer();
}

std::int64_t integer(std::string_view number) {
  return objectWith(number)->decodeInteger(key);
}
Date date(std::string_view number) {
  return objectWith(number)->decodeDate(key);
}

std::string writtenDate(Date date) {
  const auto document =
      NlohmannJSON().encode([date](Encoder& encoder) { encoder.keyedContainer()->encode(date, key); });
  return document.substr(7, document.size() - 8);
}

std::string writtenText(std::string_view text) {
  const auto document =
      NlohmannJSON().encode([text](Encoder& encoder) { encoder.keyedContainer()->encode(text, key); });
  return document.substr(7, document.size() - 8);
}

auto refused(std::string_view document) {
  return decodingErrorOf([&] { (void)NlohmannJSON().decoder(dataFromText(document)); });
}

TEST(NlohmannJSON, ReadsAnIntegralNumberHoweverItIsWritten) {
  EXPECT_EQ(integer("1.0"), 1);
  EXPECT_EQ(integer("1e3"), 1000);
  EXPECT_EQ(integer("1.5e1"), 15);
  EXPECT_EQ(integer("1200e-2"), 12);
  EXPECT_EQ(integer("-0"), 0);
  EXPECT_EQ(integer("-0.0"), 0);
  EXPECT_EQ(integer("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(integer("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(integer("9223372036854775807.0"), std::numeric_limits<std::int64_t>::max());
}

TEST(NlohmannJSON, RefusesAnIntegerWithAFractionOrOutOfRange) {
  for (const char* number : {"0.5", "1.0000000000000000001", "1e-1", "1e-300", "9223372036854775808",
                             "-9223372036854775809", "18446744073709551616", "1e19", "1e300"})
    EXPECT_THAT(decodingErrorOf([&] { integer(number); }), IsDecodingError(Case::dataCorrupted, "key"))
        << number;
}

TEST(NlohmannJSON, ReadsAPointInTimeDecimally) {
  EXPECT_EQ(date("0"), referenceDate);
  EXPECT_EQ(date("0.1"), secondsAfterReference(0, 100'000));
  EXPECT_EQ(date("768614400.123456"), secondsAfterReference(768'614'400, 123'456));
  EXPECT_EQ(date("-0.25"), secondsAfterReference(0, -250'000));
  EXPECT_EQ(date("-978307200"), Date{});
  EXPECT_EQ(date("1.5e2"), secondsAfterReference(150));
  EXPECT_EQ(date("1E-6"), secondsAfterReference(0, 1));
  EXPECT_EQ(date("12345678901.999999"), secondsAfterReference(12'345'678'901, 999'999));
}

TEST(NlohmannJSON, RoundsAPointInTimeToTheNearestMicrosecondHalvesAwayFromZero) {
  EXPECT_EQ(date("0.0000004999"), referenceDate);
  EXPECT_EQ(date("0.0000005"), secondsAfterReference(0, 1));
  EXPECT_EQ(date("-0.0000005"), secondsAfterReference(0, -1));
  EXPECT_EQ(date("0.1234565"), secondsAfterReference(0, 123'457));
  EXPECT_EQ(date("0.9999999"), secondsAfterReference(1));
  EXPECT_EQ(date("1e-300"), referenceDate);
}

TEST(NlohmannJSON, RefusesAPointInTimeOutOfRange) {
  for (const char* number :
       {"9223372036854", "-9224350344055", "1e13", "-1e13", "1e300", "99999999999999999999"})
    EXPECT_THAT(decodingErrorOf([&] { date(number); }), IsDecodingError(Case::dataCorrupted, "key"))
        << number;
}

TEST(NlohmannJSON, WritesAPointInTimeWithAsFewDecimalsAsItNeeds) {
  EXPECT_EQ(writtenDate(referenceDate), "0");
  EXPECT_EQ(writtenDate(secondsAfterReference(1, 500'000)), "1.5");
  EXPECT_EQ(writtenDate(secondsAfterReference(768'614'400, 123'456)), "768614400.123456");
  EXPECT_EQ(writtenDate(secondsAfterReference(0, 1)), "0.000001");
  EXPECT_EQ(writtenDate(secondsAfterReference(0, -1)), "-0.000001");
  EXPECT_EQ(writtenDate(secondsAfterReference(0, -250'000)), "-0.25");
  EXPECT_EQ(writtenDate(secondsAfterReference(-2, 750'000)), "-1.25");
  EXPECT_EQ(writtenDate(Date{}), "-978307200");
}

TEST(NlohmannJSON, KeepsEveryInstantThatADateCanHold) {
  for (const Date instant : {Date::max(), Date::min(), Date{}, Date(std::chrono::microseconds(-1)),
                             secondsAfterReference(700'000'000, 1), secondsAfterReference(-1, 999'999)})
    EXPECT_EQ(date(writtenDate(instant)), instant);
}

TEST(NlohmannJSON, ReadsDecimalsWithAHostsLocalesPoint) {
  // What the parser hands on after the host has called setlocale().
  const auto number = readDecimal("-1,25", 6);
  ASSERT_TRUE(number);
  EXPECT_TRUE(number->negative);
  EXPECT_EQ(number->magnitude, 1'250'000U);
}

TEST(NlohmannJSON, EscapesWhatJSONMustEscapeAndReadsItBack) {
  EXPECT_EQ(writtenText("a\"b\\c\n\x01/\xC3\xA9"), "\"a\\\"b\\\\c\\n\\u0001/\xC3\xA9\"");
  const std::string text("nul\0 and \xF0\x9F\x98\x80", 13);
  EXPECT_EQ(objectWith(writtenText(text))->decodeText(key), text);
}

TEST(NlohmannJSON, RefusesToWriteATextThatIsNotUTF8) {
  const auto error = errorOf([] { writtenText("secret\xFF"); });
  ASSERT_TRUE(error);
  EXPECT_THAT(*error,
              IsError("NSCocoaErrorDomain", 4866, "a text is not UTF-8 and cannot be written as JSON"));
}

TEST(NlohmannJSON, RefusesToWriteNothing) {
  EXPECT_TRUE(errorOf([] { NlohmannJSON().encode([](Encoder&) {}); }));
  EXPECT_TRUE(errorOf([] {
    NlohmannJSON().encode(
        [](Encoder& encoder) { encoder.keyedContainer()->encodeNested(key, [](Encoder&) {}); });
  }));
}

TEST(NlohmannJSON, RefusesToWriteOneValueAsAnObjectAndAList) {
  EXPECT_TRUE(errorOf([] {
    NlohmannJSON().encode([](Encoder& encoder) {
      (void)encoder.keyedContainer();
      (void)encoder.unkeyedContainer();
    });
  }));
}

TEST(NlohmannJSON, WritesEmptyObjectsAndLists) {
  EXPECT_EQ(NlohmannJSON().encode([](Encoder& encoder) { (void)encoder.keyedContainer(); }), "{}");
  EXPECT_EQ(NlohmannJSON().encode([](Encoder& encoder) { (void)encoder.unkeyedContainer(); }), "[]");
}

TEST(NlohmannJSON, RefusesADocumentThatIsNotWhole) {
  const auto corrupted = IsDecodingError(Case::dataCorrupted, "");
  for (const char* document :
       {"{}{}", "{},", "// no\n{}", "{\"a\":1,}", "[1,]", "{'a':1}", "nul", "NaN", "01", "+1", "\"\\ud800\"",
        "\"\xFF\"", "\"\xC0\xAF\"", "\"\xED\xA0\x80\"", "\"a\nb\"", "1e400"})
    EXPECT_THAT(refused(document), corrupted) << document;
}

// The coder reads a document as a list's element, so as not to leave its last text behind in the heap.
TEST(NlohmannJSON, RefusesDocumentsThatWouldCloseOrExtendAListAroundThem) {
  for (const char* document : {"1,2", "{},{}", "1],[2", "]", "[", "1,", ",1", "\"", "1,\"", "\"a", "\"a\",\"",
                               "{\"a\":\"", "\"\\", "1]//", " ", ""})
    EXPECT_THAT(refused(document), IsDecodingError(Case::dataCorrupted, "")) << document;
}

TEST(NlohmannJSON, SaysAtWhichByteOfTheDocumentItsTroubleIs) {
  EXPECT_THAT(refused("{\"a\":x}").value().debugDescription(), HasSubstr("(byte 6)"));
  EXPECT_THAT(refused("\xEF\xBB\xBF{\"a\":x}").value().debugDescription(), HasSubstr("(byte 9)"));
  EXPECT_THAT(refused("{\"a\":\"x").value().debugDescription(), HasSubstr("(byte 8)"));
}

TEST(NlohmannJSON, RefusesWhatFollowsANUL) {
  EXPECT_THAT(refused(std::string_view("{}\0{}", 5)), IsDecodingError(Case::dataCorrupted, ""));
  EXPECT_THAT(refused(std::string_view("{}\0", 3)), IsDecodingError(Case::dataCorrupted, ""));
}

TEST(NlohmannJSON, SkipsAByteOrderMark) {
  EXPECT_NO_THROW((void)NlohmannJSON().decoder(dataFromText("\xEF\xBB\xBF{}"))->keyedContainer());
}

TEST(NlohmannJSON, TakesNestingTo512AndRefusesMore) {
  const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_FALSE(refused(nested(512)));
  EXPECT_THAT(refused(nested(513)), IsDecodingError(Case::dataCorrupted, ""));
  EXPECT_THAT(refused(std::string(1'000'000, '[')), IsDecodingError(Case::dataCorrupted, ""));
}

TEST(NlohmannJSON, TellsNoValueInItsErrors) {
  EXPECT_THAT(refused(R"({"token": hunter2})")->debugDescription(), Not(HasSubstr("hunter")));
  const auto error = decodingErrorOf([] { objectWith("\"hunter2\"")->decodeInteger(key); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->debugDescription(), "expected an integer, found text");
}

TEST(NlohmannJSON, TakesAnyValueAsADocument) {
  for (const char* document : {"null", "1", "\"text\"", "true", "[]", " {} "})
    EXPECT_FALSE(refused(document));
}

TEST(NlohmannJSON, GivesARecordOutOfNothingButAnObject) {
  const NlohmannJSON json;
  for (const char* document : {"[]", "[{}]", "\"text\"", "1", "1.5", "true", "null"}) {
    const Data data = dataFromText(document);
    EXPECT_THAT(decodingErrorOf([&] { json.decode<About>(data); }),
                IsDecodingError(Case::typeMismatch, ""))
        << document;
    EXPECT_THAT(decodingErrorOf([&] { json.decode<File>(data); }),
                IsDecodingError(Case::typeMismatch, ""))
        << document;
    EXPECT_THAT(decodingErrorOf([&] { json.decode<FilesPage>(data); }),
                IsDecodingError(Case::typeMismatch, ""))
        << document;
  }
}

TEST(NlohmannJSON, StaysAtAnElementThatCouldNotBeRead) {
  const auto list = NlohmannJSON().decoder(dataFromText(R"([1,null])"))->unkeyedContainer();
  EXPECT_THAT(decodingErrorOf([&] { list->decodeText(); }), IsDecodingError(Case::typeMismatch, "[0]"));
  EXPECT_THAT(decodingErrorOf([&] { list->decodeText(); }), IsDecodingError(Case::typeMismatch, "[0]"));
  (void)list->decodeNested();
  EXPECT_THAT(decodingErrorOf([&] { (void)list->decodeNested(); }),
              IsDecodingError(Case::valueNotFound, "[1]"));
}

TEST(NlohmannJSON, SaysValueNotFoundAtTheEndOfAList) {
  const auto list = NlohmannJSON().decoder(dataFromText("[]"))->unkeyedContainer();
  EXPECT_TRUE(list->isAtEnd());
  EXPECT_THAT(decodingErrorOf([&] { list->decodeText(); }), IsDecodingError(Case::valueNotFound, "[0]"));
  EXPECT_THAT(decodingErrorOf([&] { (void)list->decodeNested(); }),
              IsDecodingError(Case::valueNotFound, "[0]"));
}

}  // namespace
}  // namespace corvane::test
