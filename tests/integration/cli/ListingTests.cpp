#include "ProgramTest.hpp"

#include <set>

namespace corvane::cli::test {
namespace {

using testing::HasSubstr;
using testing::Not;

using Listing = SignedInProgramTest;

TEST_F(Listing, EveryPageIsWalkedAndEveryFileIsAnObject) {
  const auto result = run({"--json", "ls"});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(google.journal().count("files.list"), 3u);
  std::set<std::string> ids;
  for (const auto& file : objects(result.output)) {
    ids.insert(file.at("id").get<std::string>());
    EXPECT_THAT(file.at("modifiedTime").get<std::string>(),
                testing::MatchesRegex("[0-9-]{10}T[0-9:]{8}\\.[0-9]{3}Z"));
    EXPECT_FALSE(file.at("trashed").get<bool>());
  }
  // The module leaves files out that have no createdTime: every 997th.
  EXPECT_GE(ids.size(), 1197u);
  EXPECT_EQ(ids.size(), lines(result.output).size());
}

TEST_F(Listing, TableHasAHeaderAndOneHarmlessLinePerFile) {
  const auto result = run({"ls", "--pages", "1"});
  const auto rows = lines(result.output);
  EXPECT_EQ(rows.size(), lines(run({"--json", "ls", "--pages", "1"}).output).size() + 1);
  EXPECT_THAT(rows.at(0), testing::StartsWith("MODIFIED"));
  for (const char c : result.output) EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20);
  EXPECT_THAT(result.output, HasSubstr("two\\nlines"));
  EXPECT_THAT(result.output, HasSubstr("annual\\u{202e}fdp.exe"));
  EXPECT_THAT(result.output, Not(HasSubstr("\u202E")));
}

TEST_F(Listing, PagesEndWithTheTokenToGoOnWith) {
  const auto first = run({"--json", "ls", "--pages", "1"});
  EXPECT_EQ(google.journal().count("files.list"), 1u);
  const std::string token = objects(first.errors).at(0).at("nextPageToken");
  const auto rest = run({"--json", "ls", "--page-token", token});
  EXPECT_EQ(rest.exitCode, 0) << rest.errors;
  EXPECT_EQ(first.output + rest.output, run({"--json", "ls"}).output);
  EXPECT_THAT(run({"ls", "--pages", "1"}).errors, HasSubstr("--page-token='" + token + "'"));
}

TEST_F(Listing, OneBusyAnswerIsTriedAgain) {
  google.faults().add("files.list", Fault::error(503, "backendError"));
  const auto result = run({"--json", "ls", "--pages", "1"});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(google.journal().count("files.list"), 2u);
}

TEST_F(Listing, FailureInTheMiddleKeepsWhatCameAndSaysWhereToGoOn) {
  google.faults().add("files.list", {.delay = std::chrono::milliseconds(0)});
  google.faults().add("files.list", Fault::error(403, "insufficientFilePermissions", "Not yours."));
  const auto result = run({"ls"});
  EXPECT_EQ(result.exitCode, 6);
  EXPECT_GE(lines(result.output).size(), 499u);
  EXPECT_THAT(result.errors, HasSubstr("Could not list the files of ada@example.com."));
  EXPECT_THAT(result.errors, HasSubstr("Not yours."));
  EXPECT_THAT(result.errors, HasSubstr("--page-token="));
}

TEST_F(Listing, RefusedPageTokenIsAnsweredWithAdvice) {
  const auto result = run({"ls", "--page-token", "stale"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.errors, HasSubstr("Begin without --page-token"));
}

TEST_F(Listing, RepeatedPageTokenIsNotFollowedForEver) {
  const std::string page = R"({"files":[],"nextPageToken":"again"})";
  google.faults().add("files.list", Fault::content(page, "application/json; charset=UTF-8"), 2);
  const auto result = run({"ls"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.errors, HasSubstr("the server repeated a page token"));
}

TEST_F(Listing, PageTokensInACircleAreNotFollowedForEver) {
  for (const auto* token : {"a", "b", "c", "a"})
    google.faults().add("files.list",
                        Fault::content(R"({"files":[],"nextPageToken":")" + std::string(token) + "\"}",
                                       "application/json; charset=UTF-8"));
  const auto result = run({"--json", "ls"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(errorIn(result).at("kind"), "invalidResponse");
  EXPECT_THAT(result.errors, HasSubstr("the server repeated a page token"));
  EXPECT_EQ(google.journal().count("files.list"), 4u);
}

TEST_F(Listing, ReaderThatGoesAwayEndsItQuietly) {
  auto head = setup({"--json", "ls"});
  head.readAtMost = 1000;
  const auto result = Program(head).finish();
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.errors, "");
}

TEST_F(Listing, FullDiskIsSaid) {
  auto full = setup({"ls"});
  full.outputFile = "/dev/full";
  const auto result = Program(full).finish();
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.errors, HasSubstr("No space left on device"));
}

TEST_F(Listing, ProgressShowsOnATerminalOnlyAndIsTakenAwayAtTheEnd) {
  auto onTerminal = setup({"ls"});
  onTerminal.errorsToTerminal = true;
  const std::string shown = Program(onTerminal).finish().errors;
  EXPECT_THAT(shown, HasSubstr(" files"));
  EXPECT_THAT(shown, testing::EndsWith("\r\x1b[K"));

  auto without = setup({"ls", "--no-progress"});
  without.errorsToTerminal = true;
  EXPECT_EQ(Program(without).finish().errors, "");
  EXPECT_EQ(run({"ls"}).errors, "");
}

class EmptyDrive : public SignedInProgramTest {
 protected:
  EmptyDrive()
      : SignedInProgramTest({.accounts = {{.email = "ada@example.com", .files = 0, .decoys = false}}}) {}
};

TEST_F(EmptyDrive, IsNoError) {
  const auto result = run({"ls"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, "There are no files.\n");
  EXPECT_EQ(run({"--json", "ls"}).output, "");
}

}  // namespace
}  // namespace corvane::cli::test
