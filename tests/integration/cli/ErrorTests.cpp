#include "ProgramTest.hpp"
#include "integration/keychain/RawDatabase.hpp"

#include <filesystem>

namespace corvane::cli::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

using Errors = SignedInProgramTest;

TEST_F(Errors, BusyServerIsTemporary) {
  google.faults().add("files.update", Fault::error(503, "backendError"));
  EXPECT_EQ(run({"trash", "x"}).exitCode, 5);
}

TEST_F(Errors, RateLimitIsTemporaryAndOtherRefusalsArePermission) {
  google.faults().add("files.update", Fault::error(403, "userRateLimitExceeded"));
  EXPECT_EQ(run({"trash", "x"}).exitCode, 5);
  google.faults().add("files.update", Fault::error(403, "insufficientFilePermissions"));
  EXPECT_EQ(run({"trash", "x"}).exitCode, 6);
}

TEST_F(Errors, RevokedGrantNeedsANewSignIn) {
  google.revokeAll();
  const auto result = run({"about"});
  EXPECT_EQ(result.exitCode, 4) << result.errors;
  EXPECT_THAT(result.errors, HasSubstr("What to do: "));
  EXPECT_THAT(result.errors, HasSubstr("ign in"));
}

TEST_F(Errors, AnswerThatIsNotGooglesIsOther) {
  google.faults().add("about", Fault::content("<html>Welcome to the hotel</html>"));
  const auto result = run({"--json", "about"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(errorIn(result).at("kind"), "invalidResponse");
  EXPECT_THAT(result.errors, Not(HasSubstr("hotel")));
}

TEST_F(Errors, JSONErrorIsOneObjectWithKindDomainCodeAndMessage) {
  google.faults().add("files.update", Fault::error(403, "insufficientFilePermissions", "Not\nyours."));
  const auto result = run({"--json", "trash", "x"});
  ASSERT_EQ(lines(result.errors).size(), 1u) << result.errors;
  const auto error = errorIn(result);
  EXPECT_EQ(error.at("kind"), "permission");
  EXPECT_EQ(error.at("domain"), "com.google.GTLRErrorObjectDomain");
  EXPECT_EQ(error.at("code"), 403);
  EXPECT_THAT(error.at("message").get<std::string>(), HasSubstr("yours."));
}

TEST_F(Errors, UnreadableKeychainIsTheKeychains) {
  for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path() / "corvane"))
    if (entry.is_regular_file()) std::filesystem::permissions(entry.path(), std::filesystem::perms::all);
  const auto result = run({"--json", "about"});
  EXPECT_EQ(result.exitCode, 7) << result.errors;
}

TEST_F(Errors, RefusedKeychainIsToldWithTheCommandThatPutsItRight) {
  const auto file = (home.path() / "corvane" / "keychain.db").string();
  const auto reason = "The keychain was refused: '" + file + "' has mode 0644";
  const auto command = "Run: chmod 600 '" + file + "'";
  std::filesystem::permissions(file, std::filesystem::perms(0644));
  for (const auto& result :
       {run({"about"}), run({"ls"}), run({"sign-out", "ada@example.com"}), signIn("ada@example.com")}) {
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("Why: " + reason), HasSubstr(command)));
  }
  const auto programs = run({"--json", "about"});
  EXPECT_EQ(programs.exitCode, 7);
  EXPECT_THAT(errorIn(programs).at("failureReason").get<std::string>(),
              AllOf(testing::StartsWith(reason), testing::EndsWith(command)));
  std::filesystem::permissions(file, std::filesystem::perms(0600));
  EXPECT_EQ(run({"about"}).exitCode, 0);
}

TEST_F(Errors, RefusedKeyIsToldToWhoWantsToSignIn) {
  const auto file = (home.path() / "corvane" / "keychain.key").string();
  std::filesystem::permissions(file, std::filesystem::perms(0640));
  corvane::test::RawDatabase(home.path() / "corvane").execute("DELETE FROM items");
  const auto result = signIn("ada@example.com");
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.errors, AllOf(HasSubstr("has mode 0640"), HasSubstr("Run: chmod 600 '" + file + "'")));
}

TEST_F(Errors, LostKeyOfTheKeychainIsToldAsSuchAlsoToWhoWantsToSignIn) {
  std::filesystem::remove(home.path() / "corvane" / "keychain.key");
  for (const auto& result : {run({"about"}), signIn("ada@example.com")}) {
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("keychain.key' is missing"),
                                     HasSubstr("What to do: Put the file keychain.key back")));
  }
}

TEST_F(Errors, DamagedSessionIsReplacedBySigningInAgain) {
  corvane::test::RawDatabase(home.path() / "corvane").execute("UPDATE items SET sealed = zeroblob(40)");
  const auto result = run({"about"});
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.errors, AllOf(HasSubstr("damaged"), HasSubstr("What to do: Sign in again")));
  EXPECT_EQ(signIn("ada@example.com").exitCode, 0);
  EXPECT_EQ(run({"about"}).exitCode, 0);
}

TEST_F(Errors, DamagedKeychainFileIsToldByASignInThatCannotSave) {
  std::ofstream(home.path() / "corvane" / "keychain.db", std::ios::trunc) << std::string(5000, 'x');
  const auto result = signIn("ada@example.com");
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.errors, AllOf(HasSubstr("keychain.db' failed"), HasSubstr("it is damaged"),
                                   HasSubstr("move the folder away")));
}

TEST_F(Errors, EmptyArgumentsTouchNothing) {
  for (const std::vector<std::string>& command : {std::vector<std::string>{"about", ""},
                                                  {"ls", ""},
                                                  {"trash", "x", "--account", ""},
                                                  {"rm", "x", "--permanently", "--account", ""},
                                                  {"trash", ""},
                                                  {"sign-out", ""},
                                                  {"ls", "--page-token", ""}}) {
    const auto result = run(command);
    EXPECT_EQ(result.exitCode, 2) << command.front();
  }
  EXPECT_EQ(google.journal().count(), 0u);
  EXPECT_EQ(run({"accounts"}).output, "ada@example.com\n");
}

TEST_F(Errors, UsageErrorsAreToldInTheFormThatWasAskedFor) {
  const auto people = run({"fly"});
  EXPECT_EQ(people.exitCode, 2);
  EXPECT_THAT(people.errors, AllOf(testing::StartsWith("corvane: "), HasSubstr("corvane --help")));
  const auto programs = run({"fly", "--json"});
  EXPECT_EQ(programs.exitCode, 2);
  EXPECT_EQ(errorIn(programs).at("kind"), "usage");
}

TEST_F(Errors, PlainHTTPToAnotherComputerIsRefusedAsUsage) {
  auto elsewhere = setup({"accounts"});
  elsewhere.command.at(2) = "http://drive.example.com";
  const auto result = Program(elsewhere).finish();
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.errors, HasSubstr("drive.example.com"));
}

TEST_F(Errors, LogIsOffUnlessAskedForAndGoesToStandardError) {
  EXPECT_EQ(run({"about"}).errors, "");
  const auto result = run({"about", "--log-level", "verbose"});
  EXPECT_THAT(result.errors, HasSubstr("about.get request started"));
  EXPECT_THAT(result.output, Not(HasSubstr("about.get")));
}

TEST_F(Errors, HelpAndVersionGoToStandardOutput) {
  EXPECT_THAT(run({"--help"}).output, HasSubstr("Examples:"));
  EXPECT_THAT(run({"--version"}).output, testing::StartsWith("corvane "));
}

class Unlimited : public SignedInProgramTest {
 protected:
  Unlimited() : SignedInProgramTest({.accounts = {{.email = "ada@example.com", .unlimitedStorage = true}}}) {}
};

TEST_F(Unlimited, QuotaWithoutALimitCannotBeShownAndIsOther) {
  const auto result = run({"about"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.errors, HasSubstr("storage limit"));
}

}  // namespace
}  // namespace corvane::cli::test
