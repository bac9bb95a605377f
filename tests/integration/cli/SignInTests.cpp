#include "ProgramTest.hpp"

#include <sys/stat.h>

#include <charconv>

namespace corvane::cli::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class SignIn : public ProgramTest {
 protected:
  /// Where the sign-in page sends the browser with an error.
  static std::string refusalOf(const std::string& page, const std::string& error) {
    return valueOf(page, "redirect_uri") + "?state=" + valueOf(page, "state") + "&error=" + error;
  }
};

TEST_F(SignIn, AccountIsNamedAndKept) {
  const auto result = signIn("ada@example.com");
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(result.output, "Signed in as ada@example.com\n");
  EXPECT_EQ(run({"accounts"}).output, "ada@example.com\n");
}

TEST_F(SignIn, JSONNamesTheAccountAndLeavesOnlyTheAddressOnStandardError) {
  const auto result = signIn("ada@example.com", {"--json"});
  EXPECT_EQ(result.output, R"({"userEmail":"ada@example.com","signedIn":true})"
                           "\n");
  ASSERT_EQ(lines(result.errors).size(), 1u) << result.errors;
  EXPECT_THAT(result.errors, testing::StartsWith(pageStart()));
}

TEST_F(SignIn, BrowserEndsAtDriveOnceTheSessionIsIn) {
  Program program(setup({"--credentials", credentials(), "sign-in", "--no-browser"}));
  EXPECT_EQ(browse(program.waitForErrorLine(pageStart())), "https://drive.google.com/");
  EXPECT_EQ(program.finish().exitCode, 0);
}

TEST_F(SignIn, ModulesOwnFormOfTheCredentialsIsTakenToo) {
  std::ofstream(credentials())
      << R"({"client_id":"corvane-demo-client","clientSecret":"corvane-demo-secret"})";
  EXPECT_EQ(signIn("ada@example.com").exitCode, 0);
}

/// A browser that only says which address it was given.
class SignInWithABrowser : public ProgramTest {
 protected:
  SignInWithABrowser() { ::mkfifo(note().c_str(), 0600); }

  std::string note() const { return home.path() / "opened"; }
  void install(const std::string& name, const std::string& body) const {
    const std::string path = home.path() / name;
    std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
    ::chmod(path.c_str(), 0700);
  }
  void installNoting(const std::string& name) const {
    install(name, "printf '%s\\n' \"" + name + " $1\" > '" + note() + "'");
  }
  ProgramSetup setupWith(const std::string& browser) const {
    auto started = setup({"--credentials", credentials(), "sign-in"});
    started.environment["PATH"] = home.path().string() + ":" + std::getenv("PATH");
    started.environment["BROWSER"] = browser;
    return started;
  }
  std::string opened() const {
    std::string line;
    std::getline(std::ifstream(note()) >> std::ws, line);
    return line;
  }
};

TEST_F(SignInWithABrowser, SystemsOpenerIsGivenAnAddressThatLeadsToThePage) {
  installNoting("xdg-open");
  Program program(setupWith(""));
  const auto page = program.waitForErrorLine(pageStart());
  const auto given = opened();
  ASSERT_THAT(given, testing::MatchesRegex("xdg-open http://127\\.0\\.0\\.1:[0-9]+/[A-Za-z0-9_-]{22}"));
  EXPECT_EQ(locationOf(given.substr(given.find(' ') + 1)), page);
  browse(page);
  EXPECT_EQ(program.finish().exitCode, 0);
}

TEST_F(SignInWithABrowser, AddressThatTwoProgramsOpenedEndsTheSignIn) {
  installNoting("xdg-open");
  Program program(setupWith(""));
  const auto page = program.waitForErrorLine(pageStart());
  const auto given = opened();
  const auto address = given.substr(given.find(' ') + 1);
  EXPECT_EQ(locationOf(address), page);  // whoever read it in a list of processes
  EXPECT_EQ(locationOf(address), "");
  const auto result = program.finish();
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.errors, HasSubstr("The sign-in address was opened twice"));
  EXPECT_EQ(run({"accounts"}).exitCode, 4);
}

TEST_F(SignInWithABrowser, BrowserOfTheEnvironmentGoesFirst) {
  installNoting("xdg-open");
  installNoting("wanted");
  Program program(setupWith("missing:wanted"));
  const auto page = program.waitForErrorLine(pageStart());
  EXPECT_THAT(opened(), testing::StartsWith("wanted http://127.0.0.1:"));
  browse(page);
  EXPECT_EQ(program.finish().exitCode, 0);
}

TEST_F(SignInWithABrowser, OpenerThatFailsIsToldAndTheSignInGoesOn) {
  install("xdg-open", "exit 3");
  Program program(setupWith(""));
  const auto page = program.waitForErrorLine(pageStart());
  EXPECT_NE(program.waitForErrorLine("No browser could be started"), "");
  browse(page);
  EXPECT_EQ(program.finish().exitCode, 0);
}

TEST_F(SignIn, RefusedConsentIsAMatterOfPermission) {
  google.setConsent(Consent::Deny);
  const auto result = signIn("ada@example.com", {"--json"});
  EXPECT_EQ(result.exitCode, 6);
  EXPECT_EQ(errorIn(result).at("kind"), "permission");
  EXPECT_EQ(run({"accounts"}).exitCode, 4);
}

TEST_F(SignIn, DriveLeftUntickedIsAMatterOfPermission) {
  google.setConsent(Consent::Partial);
  const auto result = signIn("ada@example.com");
  EXPECT_EQ(result.exitCode, 6);
  EXPECT_THAT(result.errors, HasSubstr("leave the box for Google Drive ticked"));
}

class SignInOfAda : public ProgramTest {
 protected:
  /// The user chooses bob in the browser.
  ProgramResult chooseBob(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments{"--credentials", credentials(), "sign-in",
                                       "--no-browser",  "--account",   "ada@example.com"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    Program program(setup(arguments));
    std::string page = program.waitForErrorLine(pageStart());
    const auto hint = page.find("ada%40example.com");
    if (hint == std::string::npos) throw std::runtime_error("the page suggests nobody");
    browse(page.replace(hint, 17, "bob%40example.com"));
    return program.finish();
  }
};

TEST_F(SignInOfAda, FailsForAnotherAccountAndStoresNothing) {
  const auto result = chooseBob();
  EXPECT_EQ(result.exitCode, 4);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.errors,
              HasSubstr("The sign-in was for ada@example.com, but bob@example.com was chosen"));
  EXPECT_EQ(run({"accounts"}).exitCode, 4);
}

TEST_F(SignInOfAda, FailsForAnotherAccountInJSONToo) {
  const auto result = chooseBob({"--json"});
  EXPECT_EQ(result.exitCode, 4);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(errorIn(result).at("kind"), "notSignedIn");
  EXPECT_THAT(errorIn(result).at("message").get<std::string>(),
              testing::StartsWith("Google Drive sign-in failed: The sign-in was for ada@example.com"));
  EXPECT_EQ(run({"accounts"}).exitCode, 4);
}

TEST_F(SignInOfAda, LeavesAnotherAccountsOlderSessionAlone) {
  ASSERT_EQ(signIn("bob@example.com").exitCode, 0);
  EXPECT_EQ(chooseBob().exitCode, 4);
  EXPECT_EQ(run({"accounts"}).output, "bob@example.com\n");
  EXPECT_EQ(run({"about", "bob@example.com"}).exitCode, 0);
}

TEST_F(SignIn, RefusalOfTheMomentIsTemporaryAndSaysWhatGoogleSaid) {
  Program program(setup({"--json", "--credentials", credentials(), "sign-in", "--no-browser"}));
  browse(refusalOf(program.waitForErrorLine(pageStart()), "server_error&error_description=Down+for+a+while"));
  const auto result = program.finish();
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_EQ(errorIn(result).at("kind"), "temporary");
  EXPECT_THAT(errorIn(result).at("message").get<std::string>(),
              AllOf(HasSubstr("Google Drive sign-in failed: "), HasSubstr("Down for a while")));
}

TEST_F(SignIn, RefusalByAnAdministratorSaysWhomToAsk) {
  Program program(setup({"--credentials", credentials(), "sign-in", "--no-browser"}));
  browse(refusalOf(program.waitForErrorLine(pageStart()), "admin_policy_enforced"));
  const auto result = program.finish();
  EXPECT_EQ(result.exitCode, 6);
  EXPECT_THAT(result.errors, HasSubstr("Ask the administrator"));
}

TEST_F(SignIn, TimeOutCancelsItWithAMessage) {
  const auto result =
      run({"--json", "--credentials", credentials(), "sign-in", "--no-browser", "--timeout", "0.2"});
  EXPECT_EQ(result.exitCode, 1);
  const auto error = errorIn(result);
  EXPECT_EQ(error.at("kind"), "timedOut");
  EXPECT_THAT(
      error.at("message").get<std::string>(),
      AllOf(HasSubstr("not finished in the browser"), HasSubstr("Access blocked"), HasSubstr("test users")));
  EXPECT_EQ(run({"accounts"}).exitCode, 4);
}

TEST_F(SignIn, MissingOrWrongCredentialsAreAUsageErrorAndNothingIsPresented) {
  EXPECT_EQ(run({"sign-in", "--no-browser"}).exitCode, 2);
  EXPECT_EQ(run({"--credentials", "/no/such/file", "sign-in"}).exitCode, 2);
  std::ofstream(credentials()) << R"({"installed":{"client_id":"x","client_secret":9}})";
  const auto result = run({"--credentials", credentials(), "sign-in"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.errors,
              AllOf(HasSubstr("\"client_secret\" that is not a text"), Not(HasSubstr("o/oauth2"))));
  EXPECT_EQ(google.journal().count(), 0u);
}

TEST_F(SignIn, SecretsAppearNowhereInWhatIsPrinted) {
  const auto result = signIn("ada@example.com", {"--log-level", "verbose"});
  EXPECT_THAT(result.output + result.errors, Not(HasSubstr("corvane-demo-secret")));
}

TEST_F(SignIn, SignOutForgetsTheAccount) {
  signIn("ada@example.com");
  const auto result = run({"sign-out", "ada@example.com"});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(result.output, "Signed out ada@example.com\n");
  EXPECT_EQ(run({"accounts"}).exitCode, 4);
  EXPECT_EQ(run({"sign-out", "ada@example.com"}).exitCode, 4);
}

TEST_F(SignIn, SignOutInJSONIsAnObject) {
  signIn("ada@example.com");
  EXPECT_EQ(run({"--json", "sign-out", "ada@example.com"}).output,
            R"({"userEmail":"ada@example.com","signedOut":true})"
            "\n");
}

}  // namespace
}  // namespace corvane::cli::test
