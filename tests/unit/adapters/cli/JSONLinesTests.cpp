#include "Samples.hpp"
#include "present/JSONLines.hpp"
#include "present/Times.hpp"

#include <Corvane/About.hpp>

#include <gtest/gtest.h>

namespace corvane::cli::test {
namespace {

TEST(JSONLines, FileHasItsCodingKeysInOrderAndTimesInRFC3339) {
  EXPECT_EQ(
      jsonLine(fileNamed("notes.txt")),
      R"({"id":"1AbC","mimeType":"text/plain","name":"notes.txt","size":"1536","shared":false,"trashed":false,)"
      R"("createdTime":"2024-03-01T12:34:56.789Z","modifiedTime":"2024-03-01T12:34:56.789Z"})");
}

TEST(JSONLines, OptionalFieldsAppearWhenPresent) {
  File file = fileNamed("x");
  file.parents = {"p1", "p2"};
  file.webViewLink = "https://drive.example/x";
  const std::string line = jsonLine(file);
  EXPECT_NE(line.find(R"(,"parents":["p1","p2"],"webViewLink":"https://drive.example/x"})"),
            std::string::npos);
}

TEST(JSONLines, NestedRecordsAreNestedObjects) {
  const About about(StorageQuota(100, 40, 30), true, 5'242'880'000'000,
                    User("Ada", "ada@example.com", "https://p"));
  EXPECT_EQ(jsonLine(about),
            R"({"storageQuota":{"limit":100,"usage":40,"usageInDrive":30},"appInstalled":true,)"
            R"("maxUploadSize":5242880000000,)"
            R"("user":{"displayName":"Ada","emailAddress":"ada@example.com","photoLink":"https://p"}})");
}

TEST(JSONLines, TextIsEscapedForParsersAndForTerminals) {
  EXPECT_EQ(jsonText("a\"b\\c\n\t\r\x01"), "\"a\\\"b\\\\c\\n\\t\\r\\u0001\"");
  EXPECT_EQ(jsonText("日本 ü 👍"), "\"日本 ü 👍\"");
  EXPECT_EQ(jsonText("\u202E\u009B\x7f"), "\"\\u202e\\u009b\\u007f\"");
  EXPECT_EQ(jsonText("\U000E0001"), "\"\\udb40\\udc01\"");
  EXPECT_EQ(jsonText("bad \xff"), "\"bad \uFFFD\"");
}

TEST(Times, MillisecondsOrMicrosecondsWhereTheyCount) {
  EXPECT_EQ(rfc3339(Date{}), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(rfc3339(Date{std::chrono::microseconds{1}}), "1970-01-01T00:00:00.000001Z");
  EXPECT_EQ(rfc3339(Date{std::chrono::milliseconds{951'826'154'050}}), "2000-02-29T12:09:14.050Z");
}

TEST(Times, BeforeTheEpochCountsDownwards) {
  EXPECT_EQ(rfc3339(Date{std::chrono::microseconds{-1}}), "1969-12-31T23:59:59.999999Z");
  EXPECT_EQ(shortTime(Date{std::chrono::seconds{-60}}), "1969-12-31 23:59");
}

}  // namespace
}  // namespace corvane::cli::test
