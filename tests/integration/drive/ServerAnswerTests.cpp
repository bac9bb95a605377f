// What a host gets of a page whose JSON is not what it should be. Three files are sent; the one in the middle is odd.
#include "APIFixture.hpp"

#include <RFC3339.hpp>

namespace corvane::test {
namespace {

using emulator::Fault;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;

std::string repeated(std::string_view piece, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

/// A file's members but for these, which come first: of two members of one name the first counts.
std::string file(const std::string& id, const std::string& members = {}) {
  return "{" + members + (members.empty() ? "" : ",") + R"("id":")" + id +
         R"(","name":"n","mimeType":"m","createdTime":"2024-01-31T12:34:56.789Z",)"
         R"("modifiedTime":"2024-02-01T00:00:00Z","shared":true,"size":"5"})";
}

/// What a host sees of it.
std::string seen(const File& file) {
  std::string text = file.id + "|" + file.name + "|" + file.mimeType + "|" + file.size.value_or("no size") +
                     (file.shared ? "|shared|" : "||") + (file.trashed ? "trashed|" : "|") +
                     formatRFC3339(file.createdTime) + "|" + formatRFC3339(file.modifiedTime) + "|";
  for (const auto& parent : file.parents.value_or(std::vector<std::string>{})) text += parent + ",";
  return text + "|" + file.iconLink.value_or("") + "|" + file.webViewLink.value_or("");
}

const std::string usual = "2|n|m|5|shared||2024-01-31T12:34:56.789Z|2024-02-01T00:00:00.000Z|||";

std::string usualBut(const std::string& part, const std::string& instead) {
  std::string text = usual;
  return text.replace(text.find(part), part.size(), instead);
}

class ServerAnswerTest : public APIFixture {
 protected:
  std::optional<AnyError> failureOfPage(std::string body) {
    google.faults().add("files.list", Fault::content(std::move(body), "application/json; charset=UTF-8"));
    return failureOf([this] { firstPage(); });
  }
  FilesPage pageOf(std::string body) {
    google.faults().add("files.list", Fault::content(std::move(body), "application/json; charset=UTF-8"));
    return firstPage();
  }
};

struct OddFile {
  std::string name;
  std::string json;
  std::string seen;  // empty: that one file is left out
};

void PrintTo(const OddFile& row, std::ostream* out) {
  *out << row.name;
}

const std::string noSize = usualBut("|5|", "|no size|");
const std::string created = "2024-01-31T12:34:56.789Z";

const OddFile oddFiles[] = {
    {"SizeAsANumber", file("2", R"("size":7)"), usualBut("|5|", "|7|")},
    {"SizeNegative", file("2", R"("size":"-7")"), usualBut("|5|", "|-7|")},
    {"SizeOf2To63", file("2", R"("size":"9223372036854775808")"), noSize},
    {"SizeOf2To64AsText", file("2", R"("size":"18446744073709551616")"), noSize},
    {"SizeAsWords", file("2", R"("size":"many")"), noSize},
    {"SizeWithAPoint", file("2", R"("size":7.0)"), usualBut("|5|", "|7|")},
    {"SizeWithAnExponent", file("2", R"("size":7e3)"), usualBut("|5|", "|7000|")},
    {"SizeWithAFraction", file("2", R"("size":5.5)"), noSize},
    {"SizeBeyond64Bits", file("2", R"("size":18446744073709551616)"), noSize},
    {"SizeBeyondDoubles", file("2", R"("size":1e400)"), noSize},
    {"UnreadNumberBeyondDoubles", file("2", R"("x":[1e400])"), usual},
    {"FlagAsText", file("2", R"("shared":"true")"), usualBut("|shared|", "||")},
    {"FlagAsANumber", file("2", R"("trashed":1)"), usual},
    {"NameWithNUL", file("2", R"("name":"a\u0000b")"), usualBut("|n|", "|a\0b|"s)},
    {"NameWithNewlines", file("2", R"("name":"a\r\nb")"), usualBut("|n|", "|a\r\nb|")},
    {"NameWithDirectionOverride", file("2", R"("name":"annual\u202efdp.exe")"),
     usualBut("|n|", "|annual\u202Efdp.exe|")},
    {"NameWithALoneSurrogate", file("2", R"("name":"a\ud800b")"), usualBut("|n|", "|a\uFFFDb|")},
    {"IdWithALoneSurrogate", file("2", R"("id":"2\udc00")"), usualBut("2|n", "2\uFFFD|n")},
    {"NameEmpty", file("2", R"("name":"")"), usualBut("|n|", "||")},
    {"MemberTwice", file("2", R"("name":"first","name":"second")"), usualBut("|n|", "|first|")},
    {"MemberTwiceTheFirstOfAnotherKind", file("2", R"("name":7,"name":"second")"), ""},
    {"MemberUnknown", file("2", R"("new":{"deep":[1,{"id":"x"}]},"":null)"), usual},
    {"IdMissing",
     R"({"name":"n","mimeType":"m","createdTime":"2024-01-31T12:34:56Z",)"
     R"("modifiedTime":"2024-01-31T12:34:56Z"})",
     ""},
    {"IdNull", file("2", R"("id":null)"), ""},
    {"IdAsANumber", file("2", R"("id":2)"), ""},
    {"NameOfAnotherKind", file("2", R"("name":["n"])"), ""},
    {"KindMissing", file("2", R"("mimeType":null)"), ""},
    {"TimeWithoutMilliseconds", file("2", R"("createdTime":"2024-01-31T12:34:56Z")"),
     usualBut(created, "2024-01-31T12:34:56.000Z")},
    {"TimeWithAnOffset", file("2", R"("createdTime":"2024-01-31T18:04:56.789+05:30")"), usual},
    {"TimeInALeapSecond", file("2", R"("createdTime":"2016-12-31T23:59:60Z")"),
     usualBut(created, "2017-01-01T00:00:00.000Z")},
    {"TimeInTheYear10000", file("2", R"("createdTime":"10000-01-01T00:00:00Z")"), ""},
    {"TimeMissing", file("2", R"("createdTime":null)"), ""},
    {"TimeAsANumber", file("2", R"("modifiedTime":1706704496)"), ""},
    {"ParentsOfMixedKinds", file("2", R"("parents":["a",7])"), usual},
    {"LinkOfAnotherKind", file("2", R"("iconLink":{},"webViewLink":7)"), usual},
    {"EntryNull", "null", ""},
    {"EntryText", R"("file")", ""},
    {"EntryList", "[]", ""},
    {"EntryEmpty", "{}", ""},
};

class OddFiles : public ServerAnswerTest, public testing::WithParamInterface<OddFile> {};

TEST_P(OddFiles, CostAtMostThemselves) {
  const auto page = pageOf(R"({"files":[)" + file("1") + "," + GetParam().json + "," + file("3") +
                           R"(],"nextPageToken":"t"})");
  std::vector<std::string> files;
  for (const auto& each : page.files()) files.push_back(seen(each));
  const auto first = usualBut("2|", "1|");
  const auto last = usualBut("2|", "3|");
  if (GetParam().seen.empty())
    EXPECT_THAT(files, ElementsAre(first, last));
  else
    EXPECT_THAT(files, ElementsAre(first, GetParam().seen, last));
  EXPECT_EQ(page.nextPageToken(), "t");
}

INSTANTIATE_TEST_SUITE_P(, OddFiles, testing::ValuesIn(oddFiles),
                         [](const auto& row) { return row.param.name; });

struct OddDocument {
  std::string name;
  std::string text;
};

void PrintTo(const OddDocument& row, std::ostream* out) {
  *out << row.name;
}

/// A page with these members in its middle file.
std::string pageWith(const std::string& members) {
  return R"({"files":[)" + file("1") + "," + file("2", members) + "]}";
}

const OddDocument refusedDocuments[] = {
    {"CutOff", R"({"files":[)" + file("1") + ","},
    {"TopIsAList", "[" + file("1") + "]"},
    {"TopIsAText", R"("files")"},
    {"TopIsNull", "null"},
    {"BadUTF8", pageWith("\"name\":\"\xC3\x28\"")},
    {"RawNewline", pageWith("\"name\":\"a\nb\"")},
    {"ByteOrderMark", "\xEF\xBB\xBF" + pageWith(R"("x":1)")},
    {"DepthOfAMillion", pageWith(R"("x":)" + repeated("[", 1'000'000) + repeated("]", 1'000'000))},
    {"DepthOfAMillionUnclosed", repeated(R"({"files":)", 1'000'000)},
};

class RefusedDocuments : public ServerAnswerTest, public testing::WithParamInterface<OddDocument> {};

TEST_P(RefusedDocuments, FailThePageUnretriedAndShowNoHalfOfIt) {
  const auto error = failureOfPage(GetParam().text);
  ASSERT_TRUE(error);
  EXPECT_THAT(*error, IsListingError(NSURLErrorDomain, -1017));
  EXPECT_THAT(impatient->delays(), IsEmpty());
  EXPECT_EQ(google.journal().count("files.list"), 1u);
  EXPECT_GE(firstPage().files().size(), 499u);
}

INSTANTIATE_TEST_SUITE_P(, RefusedDocuments, testing::ValuesIn(refusedDocuments),
                         [](const auto& row) { return row.param.name; });

class OddPage : public ServerAnswerTest {};

TEST_F(OddPage, WithoutAListOfFilesFailsAndIsNotTakenForAnEmptyOne) {
  for (const auto* body : {"{}", R"({"files":null})", R"({"files":{}})", R"({"files":"[]"})",
                           R"({"nextPageToken":"t"})", R"({"kind":"drive#about","user":{}})"}) {
    const auto error = failureOfPage(body);
    ASSERT_TRUE(error) << body;
    EXPECT_EQ(error->as<GoogleDriveAPIError>() ? *error->as<GoogleDriveAPIError>()
                                               : GoogleDriveAPIError::emptyService,
              GoogleDriveAPIError::convertFilesList)
        << error->what();
  }
  EXPECT_THAT(impatient->delays(), IsEmpty());
}

TEST_F(OddPage, MayBeEmptyAndHaveAToken) {
  const auto page = pageOf(R"({"files":[],"nextPageToken":"t"})");
  EXPECT_TRUE(page.files().empty());
  EXPECT_EQ(page.nextPageToken(), "t");
}

TEST_F(OddPage, WithATokenOfAnotherKindIsTheLast) {
  const auto page = pageOf(R"({"files":[)" + file("1") + R"(],"nextPageToken":7})");
  EXPECT_EQ(page.files().size(), 1u);
  EXPECT_EQ(page.nextPageToken(), std::nullopt);
}

TEST_F(OddPage, OfAboutLacksWhatIsOfAnotherKind) {
  for (
      const auto* body :
      {"{}", R"({"user":null,"storageQuota":[],"appInstalled":"no","maxUploadSize":{}})",
       R"({"user":{"displayName":7,"emailAddress":"a","photoLink":"p"},"storageQuota":{"limit":"1","usage":"1",)"
       R"("usageInDrive":"1"},"appInstalled":false,"maxUploadSize":"1"})"}) {
    google.faults().add("about", Fault::content(body, "application/json"));
    const auto error = failureOf([this] { get(api->getAbout()); });
    ASSERT_TRUE(error) << body;
    ASSERT_TRUE(error->as<GoogleDriveAPIError>()) << error->what();
    EXPECT_EQ(*error->as<GoogleDriveAPIError>(), GoogleDriveAPIError::convertAbout);
  }
}

}  // namespace
}  // namespace corvane::test
