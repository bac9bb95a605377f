#include "FaultyKeyring.hpp"
#include "integration/cli/ProgramTest.hpp"
#include "integration/secrets/Outputs.hpp"

#include <string>
#include <string_view>
#include <vector>

// What the program shows when the desktop's keyring holds the sessions, at its most talkative.

namespace corvane::cli::test {
namespace {

using corvane::test::FaultyKeyring;
using corvane::test::KeyringSession;
using corvane::test::Outputs;
using testing::HasSubstr;
using testing::IsEmpty;

class KeyringOutputTest : public ProgramTest {
 protected:
  KeyringOutputTest() { keychain = "secret-service"; }

  ProgramResult runVerbosely(const std::string& what, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--log-level", "verbose"});
    auto result = run(std::move(arguments));
    outputs.add(what, result.output + result.errors);
    return result;
  }

  ProgramResult signInVerbosely(const std::string& what) {
    Program program(setup({"--credentials", credentials(), "--log-level", "verbose", "sign-in",
                           "--no-browser", "--account", "ada@example.com"}));
    const auto url = program.waitForErrorLine(pageStart());
    EXPECT_NE(url, "") << what;
    if (!url.empty()) browse(url);
    auto result = program.finish();
    std::string errors = result.errors;
    const auto shown = errors.find(url);
    outputs.add(what + ", but for the URL", result.output + errors.erase(shown, url.size()));
    for (const std::string_view name : {"&state=", "&nonce=", "&code_challenge="}) {
      const auto from = url.find(name) + name.size();
      secrets.push_back(url.substr(from, url.find('&', from) - from));
      EXPECT_GE(secrets.back().size(), 22u) << name;
    }
    return result;
  }

  void expectNoSecretAnywhere() {
    for (auto& secret : google.secrets()) secrets.push_back(std::move(secret));
    ASSERT_GE(secrets.size(), 7u);
    secrets.emplace_back("corvane-demo-secret");
    secrets.emplace_back("eyJhbGciOiJ");  // any id_token
    for (const auto& secret : secrets)
      EXPECT_THAT(outputs.placesOf(secret), IsEmpty()) << "beginning with " << secret.substr(0, 8);
  }

  Outputs outputs;
  std::vector<std::string> secrets;
};

class InGnomeKeyringOutputTest : public KeyringOutputTest {
 protected:
  KeyringSession session;
};

TEST_F(InGnomeKeyringOutputTest, HoldsNoSecretThroughoutASessionsLife) {
  EXPECT_EQ(signInVerbosely("signing in").exitCode, 0);
  EXPECT_EQ(runVerbosely("accounts", {"accounts"}).exitCode, 0);
  EXPECT_EQ(runVerbosely("about", {"about"}).exitCode, 0);
  google.expireTokens();
  EXPECT_EQ(runVerbosely("listing", {"ls"}).exitCode, 0);
  EXPECT_EQ(runVerbosely("listing in JSON", {"--json", "ls", "--pages", "1"}).exitCode, 0);
  EXPECT_EQ(runVerbosely("status", {"status"}).exitCode, 0);
  EXPECT_EQ(runVerbosely("status in JSON", {"--json", "status"}).exitCode, 0);
  google.revokeAll();
  EXPECT_NE(runVerbosely("a revoked session", {"about"}).exitCode, 0);
  EXPECT_EQ(runVerbosely("signing out", {"sign-out", "ada@example.com"}).exitCode, 0);
  EXPECT_GE(outputs.size(), 50'000u) << "there is too little to look at";
  expectNoSecretAnywhere();
}

class InFaultyKeyringOutputTest : public KeyringOutputTest {
 protected:
  void signInTo(const std::string& options) {
    keyring.start(options);
    ASSERT_EQ(signInVerbosely("signing in with " + options).exitCode, 0);
  }

  /// Everything that reads or removes the session, told in words and in JSON.
  void expectEverythingToFail(const std::string& why) {
    for (const auto& command : std::vector<std::vector<std::string>>{
             {"accounts"}, {"status"}, {"about"}, {"ls"}, {"sign-out", "ada@example.com"}}) {
      EXPECT_NE(runVerbosely(why + ": " + command[0], command).exitCode, 0) << why << ": " << command[0];
      auto inJSON = command;
      inJSON.insert(inJSON.begin(), "--json");
      EXPECT_NE(runVerbosely(why + ": " + command[0] + " in JSON", inJSON).exitCode, 0);
    }
  }

  FaultyKeyring keyring;
};

TEST_F(InFaultyKeyringOutputTest, LockedWithThePromptDismissedItHoldsNoSecret) {
  signInTo("--prompt dismiss");
  keyring.lock();
  expectEverythingToFail("locked");
  expectNoSecretAnywhere();
}

TEST_F(InFaultyKeyringOutputTest, RefusedItHoldsNoSecret) {
  signInTo("--deny-at GetSecrets");
  for (const auto* command : {"status", "about", "ls"})
    EXPECT_NE(runVerbosely(std::string("refused: ") + command, {command}).exitCode, 0) << command;
  keyring.start("--deny-at CreateItem");
  const auto unsaved = signInVerbosely("signing in, not to be kept");
  EXPECT_NE(unsaved.exitCode, 0);
  EXPECT_EQ(unsaved.output, "");
  expectNoSecretAnywhere();
}

TEST_F(InFaultyKeyringOutputTest, GarbledItHoldsNoSecret) {
  signInTo("--garble");
  for (const auto* command : {"status", "about", "ls"})
    EXPECT_NE(runVerbosely(std::string("garbled: ") + command, {command}).exitCode, 0) << command;
  expectNoSecretAnywhere();
}

}  // namespace
}  // namespace corvane::cli::test
