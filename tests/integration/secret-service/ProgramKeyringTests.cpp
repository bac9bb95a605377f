#include "FaultyKeyring.hpp"
#include "integration/cli/ProgramTest.hpp"

#include <csignal>
#include <filesystem>

// The program with the desktop's keyring.

namespace corvane::cli::test {
namespace {

using corvane::test::FaultyKeyring;
using corvane::test::KeyringSession;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// The program, a local Google, and a real gnome-keyring.
class InGnomeKeyring : public ProgramTest {
 protected:
  InGnomeKeyring() { keychain = "secret-service"; }

  // Sessions of a local Google have a service of their own.
  std::string service() const { return "corvane " + google.baseURL(); }
  std::string search() {
    return session.run("secret-tool search --all service '" + service() +
                       "' account ada@example.com");
  }

  /// gnome-keyring's own prompts, answered by a script; counts them.
  template <class Action>
  ProgramResult whilePromptsAreAnswered(const std::string& option, Action action) {
    session.run("rm -f $HOME/prompts; " CORVANE_SCRIPTED_PROMPTER " " + option +
                " >$HOME/prompts 2>&1 & echo $! >$HOME/prompter.pid; "
                "until grep -qs ready $HOME/prompts; do sleep 0.02; done");
    const auto result = action();
    prompts = std::stoi(session.run("kill $(cat $HOME/prompter.pid); grep -c asked $HOME/prompts || true"));
    return result;
  }

  KeyringSession session;
  int prompts = 0;
};

TEST_F(InGnomeKeyring, AnAccountIsListedByASecondProcessSurvivesARestartAndIsGoneAfterSignOut) {
  ASSERT_EQ(signIn("ada@example.com").exitCode, 0);
  EXPECT_EQ(run({"accounts"}).output, "ada@example.com\n");
  EXPECT_THAT(search(), HasSubstr("label = " + service() + " – ada@example.com\n"));

  session.run("restart-keyring");
  EXPECT_EQ(run({"accounts"}).output, "ada@example.com\n");
  EXPECT_EQ(run({"about"}).exitCode, 0);

  EXPECT_EQ(run({"sign-out", "ada@example.com"}).exitCode, 0);
  EXPECT_EQ(search(), "");
  EXPECT_EQ(run({"accounts"}).exitCode, 4);
}

TEST_F(InGnomeKeyring, LockedBetweenTwoStartsItAsksAndSaysWhatTheUserAnswered) {
  ASSERT_EQ(signIn("ada@example.com").exitCode, 0);
  session.lockKeyring();

  const auto dismissed = whilePromptsAreAnswered("--dismiss", [this] { return run({"accounts"}); });
  EXPECT_EQ(dismissed.exitCode, 7);
  EXPECT_EQ(dismissed.output, "");
  EXPECT_THAT(dismissed.errors,
              AllOf(HasSubstr("locked"), HasSubstr("dismissed"), Not(HasSubstr("is signed in"))));
  EXPECT_EQ(prompts, 1);

  const auto unlocked = whilePromptsAreAnswered("", [this] { return run({"accounts"}); });
  EXPECT_EQ(unlocked.exitCode, 0) << unlocked.errors;
  EXPECT_EQ(unlocked.output, "ada@example.com\n");
  EXPECT_EQ(prompts, 1);
}

TEST_F(InGnomeKeyring, LockedWithNobodyToAskItSaysSoAsDoesTheLog) {
  ASSERT_EQ(signIn("ada@example.com").exitCode, 0);
  session.lockKeyring();
  const auto result = run({"--log-level", "error", "accounts"});
  EXPECT_EQ(result.exitCode, 7);
  const std::string sentence = "The keyring is locked, and there is no desktop here";
  const auto first = result.errors.find(sentence);
  ASSERT_NE(first, std::string::npos) << result.errors;
  EXPECT_NE(result.errors.find(sentence, first + 1), std::string::npos) << result.errors;
  EXPECT_EQ(errorIn(run({"--json", "accounts"})).at("kind"), "keychainLocked");
}

TEST_F(InGnomeKeyring, UnlockedElsewhereItGoesOnUnasked) {
  ASSERT_EQ(signIn("ada@example.com").exitCode, 0);
  session.lockKeyring();
  session.unlockKeyring();
  EXPECT_EQ(run({"accounts"}).output, "ada@example.com\n");
}

TEST_F(InGnomeKeyring, NothingMovesToTheFileOrBack) {
  ASSERT_EQ(signIn("ada@example.com").exitCode, 0);
  EXPECT_FALSE(std::filesystem::exists(home.path() / "corvane"));
  keychain = "file";
  EXPECT_EQ(run({"accounts"}).exitCode, 4);
}

TEST_F(InGnomeKeyring, StatusTellsWhereSessionsAreAndWhatTheyMayDoButNoToken) {
  ASSERT_EQ(signIn("ada@example.com").exitCode, 0);
  const auto status = run({"status"});
  EXPECT_EQ(status.exitCode, 0) << status.errors;
  EXPECT_THAT(status.output,
              AllOf(HasSubstr("the desktop's keyring"), HasSubstr("ada@example.com\n"),
                    HasSubstr("https://www.googleapis.com/auth/drive\n"), HasSubstr("access until")));

  const auto lines = objects(run({"--json", "status"}).output);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].at("keychain"), "secret-service");
  EXPECT_EQ(lines[1].at("userEmail"), "ada@example.com");
  EXPECT_THAT(lines[1].at("grantedScopes").get<std::vector<std::string>>(),
              testing::Contains("https://www.googleapis.com/auth/drive"));
  EXPECT_TRUE(lines[1].contains("accessTokenExpiry"));
  EXPECT_EQ(lines[1].size(), 3u);  // so no token
}

TEST_F(InGnomeKeyring, TheChoiceIsToldInTheLog) {
  EXPECT_THAT(run({"--log-level", "verbose", "accounts"}).errors, HasSubstr("kept in the desktop's keyring"));
  keychain = "file";
  EXPECT_THAT(run({"--log-level", "verbose", "accounts"}).errors, HasSubstr("kept in the encrypted file"));
}

/// The program, a local Google, and a keyring whose prompts end as asked for.
class InFaultyKeyring : public ProgramTest {
 protected:
  InFaultyKeyring() { keychain = "secret-service"; }

  void signInAndLock(const std::string& options) {
    keyring.start(options);
    ASSERT_EQ(signIn("ada@example.com").exitCode, 0);
    keyring.lock();
    keyring.forgetCalls();
  }

  FaultyKeyring keyring;
};

TEST_F(InFaultyKeyring, AsksToUnlockOnceAndGoesOn) {
  signInAndLock("--prompt grant");
  const auto result = run({"status"});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("ada@example.com\n"));
  EXPECT_EQ(keyring.calls("Prompt"), 1);
}

TEST_F(InFaultyKeyring, DismissedItSaysSoAndHowToGoOn) {
  signInAndLock("--prompt dismiss");
  for (const auto& command :
       {std::vector<std::string>{"accounts"}, {"about"}, {"sign-out", "ada@example.com"}}) {
    keyring.forgetCalls();
    const auto result = run(command);
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr("locked"), HasSubstr("dismissed"), HasSubstr("--keychain file")));
    EXPECT_EQ(keyring.calls("Prompt"), 1);
  }
  EXPECT_EQ(keyring.calls("Delete"), 0);
}

TEST_F(InFaultyKeyring, DismissedItIsCancelledAndNotInterrupted) {
  signInAndLock("--prompt dismiss");
  const auto result = run({"--json", "accounts"});
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_EQ(errorIn(result).at("kind"), "cancelled");
}

TEST_F(InFaultyKeyring, NotUnlockedItDoubtsThePassword) {
  signInAndLock("--prompt shrug");
  const auto result = run({"accounts"});
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.errors, HasSubstr("the password may have been wrong"));
}

TEST_F(InFaultyKeyring, FailingItShowsTheServicesOwnReason) {
  keyring.start("--fail-at OpenSession");
  const auto result = signIn("ada@example.com");
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.errors, HasSubstr("maybe libqca-ossl is missing"));
}

TEST_F(InFaultyKeyring, ASignInAsksForTheKeyringBeforeItSendsTheUserToThePage) {
  keyring.start("--locked --prompt dismiss");
  const auto result = signIn("ada@example.com");
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.errors, AllOf(HasSubstr("locked"), HasSubstr("dismissed"), Not(HasSubstr(pageStart()))));
  EXPECT_EQ(keyring.calls("Prompt"), 1);
  EXPECT_TRUE(google.journal().entries().empty());
}

TEST_F(InFaultyKeyring, ASignInWhoseSessionCannotBeKeptSaysWhy) {
  keyring.start("--lock-at CreateItem --prompt dismiss");
  const auto result = signIn("ada@example.com");
  EXPECT_NE(result.exitCode, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.errors, AllOf(HasSubstr("locked"), HasSubstr("--keychain file")));
}

TEST_F(InFaultyKeyring, UnreachableItNamesBothWaysOut) {
  const auto result = run({"accounts"});
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.errors, AllOf(HasSubstr("no keyring service"), HasSubstr("gnome-keyring"),
                                   HasSubstr("--keychain file")));
  const auto error = errorIn(run({"--json", "status"}));
  EXPECT_EQ(error.at("kind"), "keychainUnavailable");
  EXPECT_THAT(error.at("recoverySuggestion").get<std::string>(), HasSubstr("--keychain file"));
}

TEST_F(InFaultyKeyring, InterruptedWhileAPromptIsShownItEndsAndThePromptGoes) {
  signInAndLock("--prompt wait");
  Program program(setup({"accounts"}));
  keyring.waitFor("Prompt");
  program.signal(SIGINT);
  EXPECT_EQ(program.finish().exitCode, 130);
  keyring.waitFor("Dismiss");
}

}  // namespace
}  // namespace corvane::cli::test
