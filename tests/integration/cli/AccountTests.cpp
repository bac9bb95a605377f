#include "ProgramTest.hpp"

namespace corvane::cli::test {
namespace {

using testing::HasSubstr;

using Accounts = ProgramTest;

TEST_F(Accounts, NobodySignedInIsSaidWithTheWayToSignIn) {
  for (const char* command : {"accounts", "about", "ls"}) {
    const auto result = run({command});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, HasSubstr("No account is signed in.\n"));
    EXPECT_THAT(result.errors, HasSubstr("sign-in"));
  }
}

TEST_F(Accounts, AreListedInOrderAndAsObjects) {
  signIn("bob@example.com");
  signIn("ada@example.com");
  EXPECT_EQ(run({"accounts"}).output, "ada@example.com\nbob@example.com\n");
  EXPECT_EQ(run({"accounts", "--json"}).output,
            "{\"userEmail\":\"ada@example.com\"}\n{\"userEmail\":\"bob@example.com\"}\n");
}

TEST_F(Accounts, SeveralAccountsMustBeToldApart) {
  signIn("ada@example.com");
  signIn("bob@example.com");
  const auto result = run({"ls"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.errors, HasSubstr("ada@example.com, bob@example.com"));
  EXPECT_EQ(run({"--json", "ls", "bob@example.com"}).exitCode, 0);
  EXPECT_EQ(run({"trash", "x", "--account", "eve@example.com"}).exitCode, 4);
}

using Status = ProgramTest;

TEST_F(Status, TellsTheKeychainEvenWhenNobodyIsSignedIn) {
  const auto result = run({"status"});
  EXPECT_EQ(result.exitCode, 4);
  EXPECT_THAT(lines(result.output).front(),
              "Sessions are kept in an encrypted file (--keychain file)");
  EXPECT_THAT(result.errors, HasSubstr("No account is signed in."));
}

TEST_F(Status, TellsWhatTheEncryptedFileProtectsAndWhatNot) {
  EXPECT_THAT(run({"status"}).output,
              testing::AllOf(HasSubstr("Other users of this computer cannot read them"),
                             HasSubstr("Programs that you run can"),
                             HasSubstr("copy of the whole folder")));
  EXPECT_EQ(run({"--json", "status"}).output, "{\"keychain\":\"file\"}\n");
}

TEST_F(Status, TellsWhatEachSessionMayDoAndUntilWhenWithoutItsTokens) {
  signIn("bob@example.com");
  signIn("ada@example.com");
  const auto status = objects(run({"--json", "status"}).output);
  ASSERT_EQ(status.size(), 3u);
  EXPECT_EQ(status[0], nlohmann::json({{"keychain", "file"}}));
  for (const auto& [line, account] :
       {std::pair(status[1], "ada@example.com"), {status[2], "bob@example.com"}}) {
    EXPECT_EQ(line.at("userEmail"), account);
    EXPECT_THAT(line.at("grantedScopes").get<std::vector<std::string>>(),
                testing::Contains("https://www.googleapis.com/auth/drive"));
    EXPECT_THAT(line.at("accessTokenExpiry").get<std::string>(), testing::EndsWith("Z"));
    EXPECT_EQ(line.size(), 3u);
  }
}

using About = SignedInProgramTest;

TEST_F(About, DrawsTheQuotaWithNumbers) {
  const auto result = run({"about"});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("<ada@example.com>"));
  EXPECT_THAT(result.output, HasSubstr("Storage   [#"));
  EXPECT_THAT(result.output, HasSubstr(" used, "));
  EXPECT_EQ(result.output.find('\x1b'), std::string::npos);
}

TEST_F(About, ColourComesWhenAskedFor) {
  EXPECT_THAT(run({"--color", "always", "about"}).output, HasSubstr("\x1b["));
}

TEST_F(About, JSONIsTheRecord) {
  const auto about = objects(run({"about", "--json"}).output).at(0);
  EXPECT_EQ(about.at("user").at("emailAddress"), "ada@example.com");
  EXPECT_GT(about.at("storageQuota").at("limit").get<std::int64_t>(), 0);
  EXPECT_TRUE(about.at("appInstalled").is_boolean());
  EXPECT_TRUE(about.at("maxUploadSize").is_number_integer());
}

}  // namespace
}  // namespace corvane::cli::test
