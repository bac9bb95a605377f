#include <HTTPClient.hpp>
#include <RFC3339.hpp>
#include <simdjson/SIMDJSONDriveParser.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "support/DriveFiles.hpp"

namespace corvane {
namespace {

using test::filesOf;

using testing::ElementsAre;
using testing::Optional;

/// A body as HTTPClient delivers it, with room behind it.
Data body(std::string_view text) {
  Data data;
  data.reserve(text.size() + HTTPResponse::padding);
  const auto* begin = reinterpret_cast<const std::byte*>(text.data());
  data.assign(begin, begin + text.size());
  return data;
}

std::string repeated(std::string_view piece, std::size_t count) {
  std::string text;
  text.reserve(piece.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

GTLRDrive_FileList listOf(std::string_view json) {
  const auto list = SIMDJSONDriveParser().fileList(body(json));
  EXPECT_TRUE(list) << json;
  return list.value_or(GTLRDrive_FileList{});
}

/// The only file of a list whose one entry is `json`.
GTLRDrive_File fileOf(std::string_view json) {
  const auto list = listOf(R"({"files":[)" + std::string(json) + "]}");
  EXPECT_TRUE(list.files && list.files->size() == 1) << json;
  const auto files = filesOf(list);
  return files.size() == 1 ? files.front() : GTLRDrive_File{};
}

std::vector<std::optional<std::string>> identifiersOf(const GTLRDrive_FileList& list) {
  std::vector<std::optional<std::string>> identifiers;
  for (const auto& file : filesOf(list)) identifiers.push_back(file.identifier);
  return identifiers;
}

TEST(SIMDJSONDriveParser, ReadsEveryMemberOfAFile) {
  const auto file =
      fileOf(R"({"kind":"drive#file","id":"1AbC","name":"a \"b\" \u00e4\n","mimeType":"text/plain",
    "size":"12345678901","shared":true,"trashed":false,"createdTime":"2024-01-31T12:34:56.789Z",
    "modifiedTime":"2024-02-01T00:00:00+01:00","parents":["0A","0B"],"iconLink":"https://i","webViewLink":"https://w"})");
  EXPECT_EQ(file.identifier, "1AbC");
  EXPECT_EQ(file.name, "a \"b\" ä\n");
  EXPECT_EQ(file.mimeType, "text/plain");
  EXPECT_EQ(file.size, 12345678901);
  EXPECT_EQ(file.shared, true);
  EXPECT_EQ(file.trashed, false);
  EXPECT_EQ(file.createdTime, parseRFC3339("2024-01-31T12:34:56.789Z"));
  EXPECT_EQ(file.modifiedTime, parseRFC3339("2024-01-31T23:00:00Z"));
  EXPECT_THAT(file.parents, Optional(ElementsAre("0A", "0B")));
  EXPECT_EQ(file.iconLink, "https://i");
  EXPECT_EQ(file.webViewLink, "https://w");
}

TEST(SIMDJSONDriveParser, ReadsAFilesListInOrderWithItsToken) {
  const auto list = listOf(R"({"nextPageToken":"~!!~AI9","files":[{"id":"1"},{"id":"2"},{"id":"3"}]})");
  EXPECT_EQ(list.nextPageToken, "~!!~AI9");
  ASSERT_TRUE(list.files);
  EXPECT_EQ(list.files->size(), 3u);
  EXPECT_THAT(identifiersOf(list), ElementsAre("1", "2", "3"));
}

TEST(SIMDJSONDriveParser, AnEmptyPageMayHaveAToken) {
  const auto list = listOf(R"({"files":[],"nextPageToken":""})");
  ASSERT_TRUE(list.files);
  EXPECT_EQ(list.files->size(), 0u);
  EXPECT_TRUE(filesOf(list).empty());
  EXPECT_EQ(list.nextPageToken, "");
}

TEST(SIMDJSONDriveParser, AListWithoutFilesHasNoFiles) {
  for (const auto* json :
       {"{}", R"({"files":null})", R"({"files":{}})", R"({"files":"[]"})", R"({"files":7})",
        R"({"kind":"drive#about","user":{}})", R"({"nextPageToken":7})"}) {
    const auto list = listOf(json);
    EXPECT_FALSE(list.files) << json;
    EXPECT_FALSE(list.nextPageToken) << json;
  }
}

TEST(SIMDJSONDriveParser, AnEntryThatIsNoObjectIsAFileWithoutMembers) {
  const auto list = listOf(R"({"files":[{"id":"1"},null,7,"x",[],true,{"id":"2"}]})");
  ASSERT_TRUE(list.files);
  EXPECT_EQ(list.files->size(), 7u);
  const auto no = std::nullopt;
  EXPECT_THAT(identifiersOf(list), ElementsAre("1", no, no, no, no, no, "2"));
}

TEST(SIMDJSONDriveParser, UnknownMembersAreIgnoredWhateverTheyHold) {
  EXPECT_EQ(fileOf(R"({"x":[[[{"id":"no"}]]],"y":{"id":"no"},"id":"yes","":null})").identifier, "yes");
}

TEST(SIMDJSONDriveParser, TheFirstOfTwoMembersOfOneNameCounts) {
  EXPECT_EQ(fileOf(R"({"id":"first","name":"n","id":"second"})").identifier, "first");
  EXPECT_EQ(fileOf(R"({"id":7,"id":"second"})").identifier, std::nullopt);
  EXPECT_EQ(listOf(R"({"files":[{}],"files":[{},{}]})").files->size(), 1u);
  EXPECT_FALSE(listOf(R"({"files":null,"files":[]})").files);
  EXPECT_EQ(SIMDJSONDriveParser().error(body(R"({"error":{"code":1,"code":2},"error":{"code":3}})"))->code,
            1);
}

TEST(SIMDJSONDriveParser, NamesMayHoldAnything) {
  EXPECT_EQ(fileOf(R"({"name":"a\u0000b"})").name, std::string("a\0b", 3));
  EXPECT_EQ(fileOf(R"({"name":"a\nb\r\n"})").name, "a\nb\r\n");
  EXPECT_EQ(fileOf("{\"name\":\"\u202Egpj.exe\"}").name, "\u202Egpj.exe");
  EXPECT_EQ(fileOf(R"({"name":"\ud83d\ude00"})").name, "😀");
  EXPECT_EQ(fileOf(R"({"name":""})").name, "");
}

struct SizeCase {
  std::string json;
  std::optional<std::int64_t> size;
};

void PrintTo(const SizeCase& row, std::ostream* out) {
  *out << row.json;
}

class SizeMember : public testing::TestWithParam<SizeCase> {};

TEST_P(SizeMember, IsAWholeInt64OrAbsent) {
  EXPECT_EQ(fileOf(R"({"id":"1","size":)" + GetParam().json + "}").size, GetParam().size) << GetParam().json;
  EXPECT_EQ(fileOf(R"({"id":"1","size":)" + GetParam().json + "}").identifier, "1");
}

INSTANTIATE_TEST_SUITE_P(
    SIMDJSONDriveParser, SizeMember,
    testing::Values(SizeCase{R"("0")", 0}, SizeCase{"0", 0}, SizeCase{R"("123")", 123}, SizeCase{"123", 123},
                    SizeCase{R"("-5")", -5}, SizeCase{"-5", -5},
                    SizeCase{R"("9223372036854775807")", std::numeric_limits<std::int64_t>::max()},
                    SizeCase{"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
                    SizeCase{R"("-9223372036854775808")", std::numeric_limits<std::int64_t>::min()},
                    SizeCase{R"("9223372036854775808")", {}}, SizeCase{"9223372036854775808", {}},
                    SizeCase{R"("18446744073709551616")", {}}, SizeCase{R"("")", {}}, SizeCase{R"("+1")", {}},
                    SizeCase{R"(" 1")", {}}, SizeCase{R"("1 ")", {}}, SizeCase{R"("1.0")", {}},
                    SizeCase{"1.0", 1}, SizeCase{"1e3", 1'000}, SizeCase{"5.5", {}}, SizeCase{"-2.50E1", -25},
                    SizeCase{"9007199254740992.0", 9'007'199'254'740'992}, SizeCase{"1e17", {}},
                    SizeCase{"18446744073709551616", {}}, SizeCase{"-9223372036854775809", {}},
                    SizeCase{"1e400", {}}, SizeCase{"-1.5E+999", {}}, SizeCase{R"("0x10")", {}},
                    SizeCase{R"("12\u00003")", {}}, SizeCase{R"("many")", {}}, SizeCase{"true", {}},
                    SizeCase{"null", {}}, SizeCase{"[1]", {}}, SizeCase{"{}", {}}));

TEST(SIMDJSONDriveParser, AMemberOfAnotherKindIsAbsentAndCostsNothingElse) {
  for (const auto* member :
       {R"("id":7)", R"("id":null)", R"("name":["x"])", R"("mimeType":{})", R"("shared":"true")",
        R"("shared":1)", R"("trashed":null)", R"("createdTime":1706704496)", R"("createdTime":"yesterday")",
        R"("modifiedTime":"2024-02-30T00:00:00Z")", R"("parents":"0A")", R"("parents":["0A",7])",
        R"("parents":{"0":"0A"})", R"("iconLink":false)", R"("webViewLink":[])"}) {
    const auto file = fileOf(std::string("{") + member + R"(,"size":"1"})");
    EXPECT_FALSE(file.identifier || file.name || file.mimeType || file.shared || file.trashed ||
                 file.createdTime || file.modifiedTime || file.parents || file.iconLink || file.webViewLink)
        << member;
    EXPECT_EQ(file.size, 1) << member;
  }
}

TEST(SIMDJSONDriveParser, NoParentsAreAnEmptyList) {
  EXPECT_THAT(fileOf(R"({"parents":[]})").parents, Optional(ElementsAre()));
}

TEST(SIMDJSONDriveParser, ReadsEveryMemberOfAbout) {
  const auto about = SIMDJSONDriveParser().about(body(R"({"kind":"drive#about",
    "user":{"kind":"drive#user","displayName":"Ada","photoLink":"https://p","me":true,"emailAddress":"ada@example.com"},
    "storageQuota":{"limit":"16106127360","usage":123,"usageInDrive":"100","usageInDriveTrash":"3"},
    "maxUploadSize":"5242880000000","appInstalled":false})"));
  ASSERT_TRUE(about && about->user && about->storageQuota);
  EXPECT_EQ(about->user->displayName, "Ada");
  EXPECT_EQ(about->user->emailAddress, "ada@example.com");
  EXPECT_EQ(about->user->photoLink, "https://p");
  EXPECT_EQ(about->storageQuota->limit, 16106127360);
  EXPECT_EQ(about->storageQuota->usage, 123);
  EXPECT_EQ(about->storageQuota->usageInDrive, 100);
  EXPECT_EQ(about->appInstalled, false);
  EXPECT_EQ(about->maxUploadSize, 5242880000000);
}

TEST(SIMDJSONDriveParser, AboutWithoutItsPartsHasAbsentMembers) {
  for (const auto* json :
       {"{}", R"({"user":null,"storageQuota":[],"appInstalled":"no","maxUploadSize":"big"})",
        R"({"kind":"drive#fileList","files":[]})"}) {
    const auto about = SIMDJSONDriveParser().about(body(json));
    ASSERT_TRUE(about) << json;
    EXPECT_FALSE(about->user || about->storageQuota || about->appInstalled || about->maxUploadSize) << json;
  }
  const auto unlimited = SIMDJSONDriveParser().about(body(R"({"user":{},"storageQuota":{"usage":"1"}})"));
  ASSERT_TRUE(unlimited && unlimited->user && unlimited->storageQuota);
  EXPECT_FALSE(unlimited->user->photoLink);
  EXPECT_FALSE(unlimited->storageQuota->limit);
}

TEST(SIMDJSONDriveParser, ReadsGooglesErrorObject) {
  const auto error = SIMDJSONDriveParser().error(
      body(R"({"error":{"code":403,"message":"Slow down","status":"PERMISSION_DENIED",
    "errors":[{"domain":"usageLimits","reason":"rateLimitExceeded","message":"m","locationType":"header","location":"Authorization"},
              7, {"reason":"second"}],
    "details":[{"@type":"type.googleapis.com/google.rpc.ErrorInfo","reason":"R","domain":"googleapis.com"},null]}})"));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, 403);
  EXPECT_EQ(error->message, "Slow down");
  EXPECT_EQ(error->status, "PERMISSION_DENIED");
  ASSERT_EQ(error->errors.size(), 2u);
  EXPECT_EQ(error->errors[0].domain, "usageLimits");
  EXPECT_EQ(error->errors[0].reason, "rateLimitExceeded");
  EXPECT_EQ(error->errors[0].message, "m");
  EXPECT_EQ(error->errors[0].locationType, "header");
  EXPECT_EQ(error->errors[0].location, "Authorization");
  EXPECT_EQ(error->errors[1].reason, "second");
  ASSERT_EQ(error->details.size(), 1u);
  EXPECT_EQ(error->details[0].reason, "R");
  EXPECT_EQ(error->details[0].domain, "googleapis.com");
}

TEST(SIMDJSONDriveParser, ErrorMembersOfOtherKindsAreEmpty) {
  const auto error = SIMDJSONDriveParser().error(
      body(R"({"error":{"code":"many","message":{},"status":5,"errors":"x","details":{"reason":"r"}}})"));
  ASSERT_TRUE(error);
  EXPECT_FALSE(error->code);
  EXPECT_TRUE(error->message.empty() && error->status.empty() && error->errors.empty() &&
              error->details.empty());
}

TEST(SIMDJSONDriveParser, OtherErrorBodiesAreNotGoogles) {
  for (const auto* json :
       {"", "{}", "[]", "null", "<html></html>", R"({"error":"invalid_grant","error_description":"x"})",
        R"({"error":null})", R"({"error":[{"code":403}]})", R"([{"error":{"code":403}}])", R"({"errors":[]})",
        R"({"error":{"code":403})"}) {
    EXPECT_FALSE(SIMDJSONDriveParser().error(body(json))) << json;
  }
}

TEST(SIMDJSONDriveParser, AHostileListOfErrorsStaysSmall) {
  const auto error =
      SIMDJSONDriveParser().error(body(R"({"error":{"errors":[{})" + repeated(",{}", 100'000) + "]}}"));
  ASSERT_TRUE(error);
  EXPECT_LE(error->errors.size(), 1'000u);
}

struct BadDocument {
  std::string name;
  std::string text;
};

void PrintTo(const BadDocument& document, std::ostream* out) {
  *out << document.name;
}

class RefusedDocument : public testing::TestWithParam<BadDocument> {};

TEST_P(RefusedDocument, IsNoObjectOfAnyKind) {
  const SIMDJSONDriveParser parser;
  const Data data = body(GetParam().text);
  EXPECT_FALSE(parser.fileList(data));
  EXPECT_FALSE(parser.about(data));
  EXPECT_FALSE(parser.file(data));
  EXPECT_FALSE(parser.error(data));
}

INSTANTIATE_TEST_SUITE_P(
    SIMDJSONDriveParser, RefusedDocument,
    testing::Values(
        BadDocument{"Empty", ""}, BadDocument{"Blank", " \n"}, BadDocument{"HTML", "<html>Sign in</html>"},
        BadDocument{"Array", "[]"}, BadDocument{"Text", R"("files")"}, BadDocument{"Null", "null"},
        BadDocument{"Number", "7"}, BadDocument{"CutOff", R"({"files":[{"id":"1"})"},
        BadDocument{"CutOffInAText", R"({"files":[{"id":"1)"}, BadDocument{"Rest", R"({"files":[]} x)"},
        BadDocument{"TwoDocuments", "{}{}"}, BadDocument{"ByteOrderMark", "\xEF\xBB\xBF{}"},
        BadDocument{"BadUTF8", "{\"name\":\"\xC3\x28\"}"},
        BadDocument{"OverlongUTF8", "{\"name\":\"\xC0\x80\"}"},
        BadDocument{"EncodedSurrogate", "{\"name\":\"\xED\xA0\x80\"}"},
        BadDocument{"RawControlCharacter", "{\"name\":\"a\nb\"}"},
        BadDocument{"TrailingComma", R"({"files":[],})"}, BadDocument{"SingleQuotes", "{'files':[]}"},
        BadDocument{"DeepInAnUnreadMember",
                    R"({"x":)" + repeated("[", 1'000'000) + repeated("]", 1'000'000) + "}"},
        BadDocument{"DeepAndCutOff", repeated(R"({"x":)", 1'000'000)}),
    [](const auto& refused) { return refused.param.name; });

struct UnpairedText {
  std::string name;
  std::string escaped;
  std::string read;
};

void PrintTo(const UnpairedText& row, std::ostream* out) {
  *out << row.name;
}

class UnpairedSurrogate : public testing::TestWithParam<UnpairedText> {};

TEST_P(UnpairedSurrogate, BecomesTheReplacementCharacter) {
  const auto list = listOf(R"({"files":[{"id":"1"},{"id":"2","name":")" + GetParam().escaped +
                           R"("},{"id":"3"}],"nextPageToken":"t"})");
  EXPECT_THAT(identifiersOf(list), ElementsAre("1", "2", "3"));
  EXPECT_EQ(filesOf(list)[1].name, GetParam().read);
  EXPECT_EQ(list.nextPageToken, "t");
}

INSTANTIATE_TEST_SUITE_P(SIMDJSONDriveParser, UnpairedSurrogate,
                         testing::Values(UnpairedText{"High", R"(a\ud800b)", "a\uFFFDb"},
                                         UnpairedText{"Low", R"(\udc00x)", "\uFFFDx"},
                                         UnpairedText{"HighAtTheEnd", R"(x\uD83D)", "x\uFFFD"},
                                         UnpairedText{"HighBeforeAnotherEscape", R"(\ud83d\n)", "\uFFFD\n"},
                                         UnpairedText{"HighBeforeALetter", R"(\ud83d\u0041)", "\uFFFDA"},
                                         UnpairedText{"TwoHighThenLow", R"(\ud83d\ud83d\ude00)", "\uFFFD😀"},
                                         UnpairedText{"LowBeforeHigh", R"(\ude00\ud83d)", "\uFFFD\uFFFD"},
                                         UnpairedText{"BesideAPair", R"(\ud83d\ude00\ud800)", "😀\uFFFD"},
                                         UnpairedText{"BehindAnEscapedBackslash", R"(\\ud800 \"\ud800\")",
                                                      "\\ud800 \"\uFFFD\""}),
                         [](const auto& row) { return row.param.name; });

TEST(SIMDJSONDriveParser, WhatCannotBeRepresentedMayStandAnywhere) {
  for (const auto* odd : {R"("\ud800":1)", R"("x":"\udfff")", R"("x":[18446744073709551616,{"y":"\ud800"}])",
                          R"("x":-9223372036854775809)", R"("x":123456789012345678901234567890.5e500)"}) {
    const auto list = listOf(std::string("{") + odd + R"(,"files":[{"id":"1"}],"nextPageToken":"t"})");
    EXPECT_THAT(identifiersOf(list), ElementsAre("1")) << odd;
    EXPECT_EQ(list.nextPageToken, "t") << odd;
  }
}

TEST(SIMDJSONDriveParser, RepairsNothingButWhatCannotBeRepresented) {
  for (const auto* json :
       {R"({"name":"\ud800","files":[)", R"({"name":"\ud800","x":01})", R"({"name":"\ud800","x":1.})",
        R"({"name":"\ud800\x"})", R"({"name":"\ud8"})", R"({"size":18446744073709551616,"x":+1})",
        R"({"size":1e400x})", R"({"size":1e})", R"({"name":"\ud800)", R"({"name":"\ud800\)",
        R"({18446744073709551616:1})", R"({"x":--18446744073709551616})"})
    EXPECT_FALSE(SIMDJSONDriveParser().fileList(body(json))) << json;
}

TEST(SIMDJSONDriveParser, AListLongerThanAnyPageIsRefused) {
  const auto json = [](std::size_t count) {
    return body(R"({"files":[0)" + repeated(",0", count - 1) + "]}");
  };
  EXPECT_TRUE(SIMDJSONDriveParser().fileList(json(1'000)));
  EXPECT_TRUE(SIMDJSONDriveParser().fileList(json(SIMDJSONDriveParser::maximumFiles)));
  EXPECT_FALSE(SIMDJSONDriveParser().fileList(json(SIMDJSONDriveParser::maximumFiles + 1)));
}

TEST(SIMDJSONDriveParser, ABodyWithoutRoomBehindItIsReadAllTheSame) {
  Data tight = dataFromText(R"({"files":[{"id":"1"}]})");
  tight.shrink_to_fit();
  ASSERT_LT(tight.capacity() - tight.size(), HTTPResponse::padding);
  const auto list = SIMDJSONDriveParser().fileList(tight);
  ASSERT_TRUE(list && list->files);
  EXPECT_THAT(identifiersOf(*list), ElementsAre("1"));
}

TEST(SIMDJSONDriveParser, ResultsOutliveTheNextDocumentAndTheParser) {
  std::optional<GTLRDrive_FileList> first;
  {
    const SIMDJSONDriveParser parser;
    first = parser.fileList(body(R"({"files":[{"id":"a long identifier, too long for any small buffer"}]})"));
    EXPECT_TRUE(
        parser.fileList(body(R"({"files":[{"id":"another identifier, which comes to lie there"}]})")));
    EXPECT_FALSE(parser.fileList(body("broken")));
    EXPECT_TRUE(parser.fileList(body("{}")));
  }
  EXPECT_THAT(identifiersOf(*first), ElementsAre("a long identifier, too long for any small buffer"));
}

TEST(SIMDJSONDriveParser, ASizeIsWrittenAsAPlainNumberHoweverItCame) {
  for (const auto& [json, size] :
       std::vector<std::pair<std::string, std::string>>{{R"("123")", "123"},
                                                        {"123", "123"},
                                                        {R"("0")", "0"},
                                                        {R"("-0")", "0"},
                                                        {R"("007")", "7"},
                                                        {R"("-5")", "-5"},
                                                        {R"("999999999999999999")", "999999999999999999"},
                                                        {R"("1000000000000000000")", "1000000000000000000"},
                                                        {"-9223372036854775808", "-9223372036854775808"}}) {
    std::string seen;
    listOf(R"({"files":[{"size":)" + json + "}]}").files->forEach([&seen](const GTLRDrive_FileView& file) {
      seen = file.size.value_or("absent");
    });
    EXPECT_EQ(seen, size) << json;
  }
}

TEST(SIMDJSONDriveParser, NoMemberOfAFileIsTakenForTheNextOnes) {
  const auto list =
      listOf(R"({"files":[{"id":"1","name":"n","mimeType":"m","size":"1","shared":true,"trashed":true,
    "createdTime":"2024-01-31T12:34:56.789Z","modifiedTime":"2024-01-31T12:34:56.789Z","parents":["p"],"iconLink":"i",
    "webViewLink":"w"},{},7,{"parents":["q",7]}]})");
  const auto files = filesOf(list);
  ASSERT_EQ(files.size(), 4u);
  EXPECT_EQ(files[0].identifier, "1");
  for (std::size_t i = 1; i < 4; ++i) {
    const auto& file = files[i];
    EXPECT_FALSE(file.identifier || file.name || file.mimeType || file.size || file.shared || file.trashed ||
                 file.createdTime || file.modifiedTime || file.parents || file.iconLink || file.webViewLink)
        << i;
  }
}

TEST(SIMDJSONDriveParser, AListMayBeReadTwiceAndByManyAtOnce) {
  const auto list = listOf(R"({"files":[{"id":"1","parents":["a"]},{"id":"2","parents":["b"]}]})");
  EXPECT_THAT(identifiersOf(list), ElementsAre("1", "2"));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&list] {
      for (int i = 0; i < 100; ++i) ASSERT_THAT(identifiersOf(list), ElementsAre("1", "2"));
    });
  for (auto& thread : threads) thread.join();
}

TEST(SIMDJSONDriveParser, AVisitorThatThrowsEndsTheWalkAndTheListStaysWhole) {
  const SIMDJSONDriveParser parser;
  int visited = 0;
  {
    const auto list = parser.fileList(body(R"({"files":[{"id":"1"},{"id":"2"}]})"));
    ASSERT_TRUE(list && list->files);
    EXPECT_THROW(list->files->forEach([&visited](const GTLRDrive_FileView&) {
      ++visited;
      throw std::bad_alloc();
    }),
                 std::bad_alloc);
    EXPECT_EQ(visited, 1);
    EXPECT_THAT(identifiersOf(*list), ElementsAre("1", "2"));
  }
  EXPECT_TRUE(parser.fileList(body(R"({"files":[]})")));  // the parser of the dropped list serves again
}

TEST(SIMDJSONDriveParser, ListsThatAreKeptDoNotDisturbEachOther) {
  const SIMDJSONDriveParser parser;
  std::vector<GTLRDrive_FileList> lists;
  for (int i = 0; i < 10; ++i)
    lists.push_back(*parser.fileList(body(R"({"files":[{"id":")" + std::to_string(i) + R"("}]})")));
  for (int i = 9; i >= 0; --i) {
    EXPECT_THAT(identifiersOf(lists.back()), ElementsAre(std::to_string(i)));
    lists.pop_back();
  }
}

TEST(SIMDJSONDriveParser, ABrokenDocumentIsRefusedBeforeAnyFileIsVisited) {
  EXPECT_FALSE(SIMDJSONDriveParser().fileList(body(R"({"files":[{"id":"1"},{"id":"2"},{"id":]})")));
}

TEST(SIMDJSONDriveParser, OneParserServesManyThreads) {
  const SIMDJSONDriveParser parser;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&parser, t] {
      const std::string id = "id of thread " + std::to_string(t);
      for (int i = 0; i < 200; ++i) {
        const auto list = parser.fileList(body(R"({"files":[{"id":")" + id + R"("}]})"));
        ASSERT_TRUE(list && list->files);
        ASSERT_THAT(identifiersOf(*list), ElementsAre(id));
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace corvane
