#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <set>

#include "EmulatorFixture.hpp"

namespace corvane::tests {
namespace {

using testing::MatchesRegex;

class EmulatedFiles : public EmulatorTest {
 protected:
  EmulatedFiles()
      : EmulatorTest(
            {.accounts = {{.email = ada, .files = 2000}, {.email = "bob@example.com", .files = 2000}}}) {}

  std::vector<json> files = listAll("pageSize=1000&fields=nextPageToken,files");
};

TEST_F(EmulatedFiles, AreTheSameForTheSameSeedOnly) {
  Emulator twin({.accounts = {{.email = ada, .files = 10}}});
  Emulator other({.accounts = {{.email = ada, .files = 10}}, .seed = 2});
  EXPECT_EQ(twin.fileID(ada, 7), server.fileID(ada, 7));
  EXPECT_NE(other.fileID(ada, 7), server.fileID(ada, 7));
  EXPECT_NE(server.fileID("bob@example.com", 7), server.fileID(ada, 7));
}

TEST_F(EmulatedFiles, OfOneAccountAreUnknownToAnother) {
  EXPECT_EQ(get("/drive/v3/files/" + server.fileID("bob@example.com", 7)).status, 404);
}

TEST_F(EmulatedFiles, HaveAllTheAwkwardNames) {
  std::set<std::string> names;
  for (const auto& file : files) names.insert(file["name"].get<std::string>());
  for (const std::string& name :
       {std::string("two\nlines"), std::string("nul\0inside", 10), std::string("slash/in/the/name"),
        std::string("annual\u202Efdp.exe"), std::string("\"double\" and 'single' quotes"),
        std::string("Cafe\u0301 (combining)"), std::string("Caf\u00E9 (composed)")}) {
    EXPECT_TRUE(names.contains(name)) << name;
  }
  EXPECT_GE(std::ranges::max(names, {}, &std::string::size).size(), 1024U);
}

TEST_F(EmulatedFiles, AreNotAllNamedDifferently) {
  std::set<std::string> names;
  for (const auto& file : files) names.insert(file["name"].get<std::string>());
  EXPECT_LT(names.size(), files.size());
}

// Google states the size of its editors' documents too (Drive API v3, File.size).
TEST_F(EmulatedFiles, LackSizeWhenTheyAreFoldersOrShortcuts) {
  std::map<std::string, std::size_t> kinds;
  for (const auto& file : files) {
    const auto kind = file["mimeType"].get<std::string>();
    const bool empty = kind.ends_with(".folder") || kind.ends_with(".shortcut");
    EXPECT_EQ(file.contains("size"), !empty) << file;
    ++kinds[kind];
  }
  for (const auto* kind : {"folder", "shortcut", "document", "spreadsheet"})
    EXPECT_GT(kinds[std::string("application/vnd.google-apps.") + kind], 0U) << kind;
}

TEST_F(EmulatedFiles, OfGooglesOwnKindsHaveNoContentToDownload) {
  for (const auto& file : files) {
    const bool own = file["mimeType"].get<std::string>().starts_with("application/vnd.google-apps.");
    EXPECT_EQ(file.contains("md5Checksum"), !own) << file;
    EXPECT_EQ(file.contains("webContentLink"), !own) << file;
  }
}

TEST_F(EmulatedFiles, LackCreatedTimeNowAndThen) {
  const auto without =
      std::ranges::count_if(files, [](const json& file) { return !file.contains("createdTime"); });
  EXPECT_EQ(without, static_cast<std::ptrdiff_t>(files.size() / 997));
}

TEST_F(EmulatedFiles, WriteTimesWithMillisecondsAndNumbersAsStrings) {
  for (const auto& file : files) {
    if (!file.contains("createdTime") || !file.contains("size")) continue;
    EXPECT_THAT(
        file["createdTime"].get<std::string>(),
        MatchesRegex("20[0-9][0-9]-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-5][0-9][.][0-9]{3}Z"));
    EXPECT_LE(file["createdTime"], file["modifiedTime"]);
    EXPECT_THAT(file["size"].get<std::string>(), MatchesRegex("0|[1-9][0-9]*"));
  }
}

TEST_F(EmulatedFiles, HaveOneParentThatIsAFolderOfTheAccount) {
  std::map<std::string, std::string> types;
  for (const auto& file : files) types[file["id"]] = file["mimeType"];
  for (const auto& file : files) {
    if (!file["ownedByMe"].get<bool>()) continue;
    ASSERT_EQ(file["parents"].size(), 1U);
    const auto parent = types.find(file["parents"][0]);
    if (parent != types.end()) {
      EXPECT_EQ(parent->second, "application/vnd.google-apps.folder");
    }
  }
}

TEST(AnEmulatedMillionOfFiles, CostsNothingUntilItIsAskedFor) {
  Emulator server({.accounts = {{.email = ada, .files = 1'000'000}}});
  server.start();
  HTTPClient client(server.port());
  const auto token = server.issueSession(ada).accessToken;
  const auto answer = client.get("/drive/v3/files/" + server.fileID(ada, 999'999) + "?fields=id",
                                 {{"Authorization", "Bearer " + token}});
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(server.fileCount(ada, true, false), 1'000'000U);
}

}  // namespace
}  // namespace corvane::tests
