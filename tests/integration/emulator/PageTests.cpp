#include <gmock/gmock.h>

#include <set>

#include "EmulatorFixture.hpp"

namespace corvane::tests {
namespace {

class EmulatedPages : public EmulatorTest {
 protected:
  json page(const std::string& parameters) { return json::parse(get("/drive/v3/files?" + parameters).body); }
};

TEST_F(EmulatedPages, FollowEachOtherWithoutGapOrRepetition) {
  std::set<std::string> ids;
  const auto files = listAll("pageSize=7&q=%27me%27+in+owners+and+trashed+%3d+false");
  for (const auto& file : files) ids.insert(file["id"].get<std::string>());
  EXPECT_EQ(files.size(), 50U);
  EXPECT_EQ(ids.size(), 50U);
}

TEST_F(EmulatedPages, WithoutAQueryIncludeTrashAndFilesOfOthers) {
  const auto files = listAll("pageSize=1000&fields=files(trashed,ownedByMe)");
  EXPECT_EQ(files.size(), server.fileCount(ada));
  EXPECT_GT(files.size(), 50U);
  EXPECT_GT(server.fileCount(ada, true, true), 0U);
  EXPECT_EQ(server.fileCount(ada, true, false), 50U);
}

TEST_F(EmulatedPages, HoldTheDefaultFieldsUnlessOthersAreAskedFor) {
  const auto first = page("pageSize=1");
  EXPECT_EQ(first["kind"], "drive#fileList");
  EXPECT_EQ(first["incompleteSearch"], false);
  EXPECT_TRUE(first.contains("nextPageToken"));
  EXPECT_EQ(first["files"][0].size(), 4U);
}

TEST_F(EmulatedPages, HaveATokenOnlyWhenItIsAskedFor) {
  EXPECT_EQ(page("pageSize=1&fields=files(id)").size(), 1U);
  EXPECT_TRUE(page("pageSize=1&fields=nextPageToken,files(id)").contains("nextPageToken"));
  EXPECT_FALSE(page("pageSize=1000&fields=*").contains("nextPageToken"));
}

TEST_F(EmulatedPages, ApplyNestedFieldSelections) {
  const auto file =
      page("pageSize=1&fields=files(id,owners/me,capabilities(canTrash,canDelete))")["files"][0];
  EXPECT_EQ(file["owners"], (json{{{"me", true}}}));
  EXPECT_EQ(file["capabilities"], (json{{"canTrash", true}, {"canDelete", true}}));
  EXPECT_EQ(file.size(), 3U);
  EXPECT_GT(page("pageSize=1&fields=files/*")["files"][0].size(), 15U);
}

TEST_F(EmulatedPages, RefuseFieldSelectionsThatDoNotParseOrExist) {
  for (const auto* fields : {"files(id", "files)", "", ",", "files(id,,name)", "bogus", "files(bogus)",
                             "files/id/x", "fi*es", "files(owners(bogus))"}) {
    EXPECT_EQ(problem(get("/drive/v3/files?fields=" + percentEncoded(fields))), "400 invalidParameter")
        << fields;
  }
}

TEST_F(EmulatedPages, RefuseQueriesTheyDoNotUnderstand) {
  for (const auto* query :
       {"", "trashed", "trashed = maybe", "trashed = true or trashed = false", "name = 'x'", "me in owners",
        "trashed = true and", "and trashed = true", "not trashed = true", "'me' in owners 'me' in owners",
        "trashed = true and trashed = false", "'me' in owners and trashed = false and", "'me in owners"}) {
    EXPECT_EQ(problem(get("/drive/v3/files?q=" + percentEncoded(query))), "400 invalid") << query;
  }
}

TEST_F(EmulatedPages, AcceptQueriesWhateverTheirSpacing) {
  for (const auto* query : {"trashed=false and 'me' in owners", "'me'  in  owners and trashed =false"}) {
    EXPECT_EQ(page("pageSize=1000&q=" + percentEncoded(query))["files"].size(), 50U) << query;
  }
}

TEST_F(EmulatedPages, RefuseSizesOutOfRange) {
  for (const auto* size : {"0", "-1", "1001", "ten", "", "5x"}) {
    EXPECT_EQ(problem(get(std::string("/drive/v3/files?pageSize=") + size)), "400 invalidParameter") << size;
  }
}

TEST_F(EmulatedPages, RefuseATokenWithOtherParametersOrFromAnotherAccount) {
  const std::string token = page("pageSize=5")["nextPageToken"];
  const auto more = "&pageToken=" + percentEncoded(token);
  EXPECT_EQ(get("/drive/v3/files?pageSize=5" + more).status, 200);
  EXPECT_EQ(problem(get("/drive/v3/files?pageSize=6" + more)), "400 invalidParameter");
  EXPECT_EQ(problem(get("/drive/v3/files?pageSize=5&q=trashed%3dfalse" + more)), "400 invalidParameter");
  EXPECT_EQ(problem(get("/drive/v3/files?pageSize=5&pageToken=" + percentEncoded(token + "A"))),
            "400 invalidParameter");
  EXPECT_EQ(problem(get("/drive/v3/files?pageSize=5&pageToken=nonsense")), "400 invalidParameter");
}

TEST_F(EmulatedPages, ChangeAtOnceWhenAFileIsDeleted) {
  const auto first = page("pageSize=5");
  EXPECT_EQ(page("pageSize=5"), first);
  remove(first["files"][0]["id"]);
  EXPECT_EQ(page("pageSize=5")["files"][0]["id"], first["files"][1]["id"]);
}

}  // namespace
}  // namespace corvane::tests
