#include "ProgramTest.hpp"

namespace corvane::cli::test {
namespace {

using testing::HasSubstr;

class Writes : public SignedInProgramTest {
 protected:
  std::vector<std::string> ids(std::size_t count) const {
    std::vector<std::string> out;
    for (const auto& file : objects(run({"--json", "ls", "--pages", "1"}).output)) {
      out.push_back(file.at("id"));
      if (out.size() == count) break;
    }
    return out;
  }
  std::uint64_t outsideTrash() const { return google.fileCount("ada@example.com", true, false); }
};

TEST_F(Writes, TrashMovesFilesToTheTrash) {
  const auto before = outsideTrash();
  const auto wanted = ids(2);
  const auto result = run({"trash", wanted[0], wanted[1]});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(result.output, "Moved " + wanted[0] + " to the trash\nMoved " + wanted[1] + " to the trash\n");
  EXPECT_EQ(outsideTrash(), before - 2);
}

TEST_F(Writes, ResultsInJSONNameTheFile) {
  const auto wanted = ids(2);
  EXPECT_EQ(run({"--json", "trash", wanted[0]}).output, "{\"id\":\"" + wanted[0] + "\",\"trashed\":true}\n");
  EXPECT_EQ(run({"--json", "rm", wanted[1], "--permanently"}).output,
            "{\"id\":\"" + wanted[1] + "\",\"deleted\":true}\n");
}

TEST_F(Writes, RmAsksToBeToldThatItIsForGood) {
  const auto before = google.fileCount("ada@example.com");
  const auto wanted = ids(1);
  google.journal().clear();
  const auto refused = run({"rm", wanted[0]});
  EXPECT_EQ(refused.exitCode, 2);
  EXPECT_THAT(refused.errors, HasSubstr("corvane trash"));
  EXPECT_EQ(google.journal().count(), 0u);

  const auto result = run({"rm", wanted[0], "--permanently"});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(result.output, "Deleted " + wanted[0] + " for good\n");
  EXPECT_EQ(google.fileCount("ada@example.com"), before - 1);
}

TEST_F(Writes, UnknownFileIsNotFound) {
  const auto result = run({"--json", "trash", "nothing"});
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_EQ(errorIn(result).at("kind"), "notFound");
  EXPECT_EQ(errorIn(result).at("id"), "nothing");
  EXPECT_EQ(errorIn(result).at("code"), 404);
}

TEST_F(Writes, FirstFailureDecidesAndTheOtherFilesAreStillDone) {
  const auto wanted = ids(1);
  google.faults().add("files.update", Fault::error(404, "notFound", "File not found."));
  google.faults().add("files.update", Fault::error(403, "insufficientFilePermissions", "Not yours."));
  const auto result = run({"trash", "first", "second", wanted[0]});
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_EQ(result.output, "Moved " + wanted[0] + " to the trash\n");
  EXPECT_THAT(result.errors, HasSubstr("Could not move first to the trash."));
  EXPECT_THAT(result.errors, HasSubstr("Could not move second to the trash."));
}

}  // namespace
}  // namespace corvane::cli::test
