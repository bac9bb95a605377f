#include "ProgramTest.hpp"

namespace corvane::cli::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

/// Two local Googles that know the same account, and one keychain.
class TwoGoogles : public SignedInProgramTest {
 protected:
  TwoGoogles() : other(defaultOptions()) { other.start(); }

  ProgramResult runAtOther(std::vector<std::string> arguments) const {
    auto program = setup(std::move(arguments));
    program.command.at(2) = other.baseURL();
    return Program(program).finish();
  }
  ProgramResult signInAtOther(const std::string& account) const {
    auto signingIn =
        setup({"--credentials", credentials(), "sign-in", "--no-browser", "--account", account});
    signingIn.command.at(2) = other.baseURL();
    Program program(signingIn);
    if (const auto page = program.waitForErrorLine(other.baseURL()); !page.empty()) browse(page);
    return program.finish();
  }

  Emulator other;
};

TEST_F(TwoGoogles, SessionIsNeverSentToTheOtherOne) {
  const auto result = runAtOther({"about"});
  EXPECT_EQ(result.exitCode, 4);
  EXPECT_THAT(result.errors, HasSubstr("No account is signed in."));
  EXPECT_EQ(other.journal().count(), 0u);
}

TEST_F(TwoGoogles, SameAddressAtBothKeepsTwoSessions) {
  EXPECT_EQ(signInAtOther("ada@example.com").exitCode, 0);
  EXPECT_EQ(run({"about"}).exitCode, 0);
  EXPECT_EQ(runAtOther({"about"}).exitCode, 0);
  EXPECT_EQ(runAtOther({"sign-out", "ada@example.com"}).exitCode, 0);
  EXPECT_EQ(runAtOther({"accounts"}).exitCode, 4);
  EXPECT_EQ(run({"status"}).exitCode, 0);
}

TEST_F(TwoGoogles, SlashAtTheEndOfTheAddressMakesNoDifference) {
  auto slash = setup({"about"});
  slash.command.at(2) += "/";
  EXPECT_EQ(Program(slash).finish().exitCode, 0);
}

TEST_F(TwoGoogles, GoogleItselfDoesNotSeeSessionsOfALocalOne) {
  auto real = setup({"accounts"});
  real.command.erase(real.command.begin() + 1, real.command.begin() + 3);
  EXPECT_EQ(Program(real).finish().exitCode, 4);
}

using Google = ProgramTest;

TEST_F(Google, ElsewhereIsRefusedBeforeAnythingIsOpened) {
  for (const char* url : {"https://drive.example.com", "https://127.0.0.1.drive.example.com"}) {
    auto elsewhere = setup({"accounts"});
    elsewhere.command.at(2) = url;
    const auto result = Program(elsewhere).finish();
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.errors, AllOf(HasSubstr(url), HasSubstr("--google-anywhere")));
    EXPECT_FALSE(std::filesystem::exists(home.path() / "corvane"));
  }
}

TEST_F(Google, ElsewhereNeedsHTTPSAlsoWhenItIsWanted) {
  auto elsewhere = setup({"accounts", "--google-anywhere"});
  elsewhere.command.at(2) = "http://drive.example.com";
  const auto plain = Program(elsewhere).finish();
  EXPECT_EQ(plain.exitCode, 2);
  EXPECT_THAT(plain.errors, HasSubstr("https"));
  elsewhere.command.at(2) = "https://drive.example.com";
  EXPECT_EQ(Program(elsewhere).finish().exitCode, 4);
}

}  // namespace
}  // namespace corvane::cli::test
