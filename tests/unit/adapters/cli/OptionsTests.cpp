#include "Failure.hpp"
#include "Options.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace corvane::cli::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::variant<Options, InfoText> parsed(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "corvane");
  return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

template <class Command>
std::pair<GlobalOptions, Command> command(const std::vector<const char*>& arguments) {
  auto options = std::get<Options>(parsed(arguments));
  return {options.global, std::get<Command>(options.command)};
}

std::string refusal(const std::vector<const char*>& arguments) {
  try {
    parsed(arguments);
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exitCode, ExitCode::usage);
    EXPECT_THAT(failure.remedy, HasSubstr("--help"));
    return failure.headline;
  }
  return "accepted";
}

TEST(Options, DefaultsAreQuietAndForPeople) {
  const auto [global, accounts] = command<AccountsOptions>({"accounts"});
  EXPECT_FALSE(global.json);
  EXPECT_TRUE(global.progress);
  EXPECT_EQ(global.color, ColorChoice::automatic);
  EXPECT_EQ(global.logLevel, LogLevel::off);
  EXPECT_EQ(global.google, "");
  EXPECT_EQ(global.keychain, KeychainBackend::secretService);
}

TEST(Options, GlobalOptionsStandBeforeOrAfterTheCommand) {
  for (const std::vector<const char*>& line :
       {std::vector<const char*>{"--json", "--google", "http://127.0.0.1:1", "--color", "never",
                                 "--no-progress", "--log-level", "verbose", "--keychain", "file", "ls"},
        {"ls", "--json", "--google", "http://127.0.0.1:1", "--color", "never", "--no-progress", "--log-level",
         "verbose", "--keychain", "file"}}) {
    const auto [global, ls] = command<LsOptions>(line);
    EXPECT_TRUE(global.json);
    EXPECT_EQ(global.google, "http://127.0.0.1:1");
    EXPECT_EQ(global.color, ColorChoice::never);
    EXPECT_FALSE(global.progress);
    EXPECT_EQ(global.logLevel, LogLevel::verbose);
    EXPECT_EQ(global.keychain, KeychainBackend::encryptedFile);
    EXPECT_EQ(ls.account, "");
  }
}

TEST(Options, SignInWaitsFiveMinutesInTheBrowserByDefault) {
  const auto signIn = command<SignInOptions>({"sign-in"}).second;
  EXPECT_TRUE(signIn.openBrowser);
  EXPECT_EQ(signIn.timeout, std::chrono::seconds(300));
  EXPECT_EQ(signIn.account, "");
}

TEST(Options, SignInTakesItsOptions) {
  const auto [global, signIn] =
      command<SignInOptions>({"sign-in", "--no-browser", "--timeout", "1.5", "--account", "ada@example.com",
                              "--credentials", "c.json"});
  EXPECT_FALSE(signIn.openBrowser);
  EXPECT_EQ(signIn.timeout, std::chrono::milliseconds(1500));
  EXPECT_EQ(signIn.account, "ada@example.com");
  EXPECT_EQ(global.credentialsFile, "c.json");
}

TEST(Options, ListingTakesAccountPageTokenAndPages) {
  const auto ls = command<LsOptions>({"ls", "ada@example.com", "--page-token", "T", "--pages", "3"}).second;
  EXPECT_EQ(ls.account, "ada@example.com");
  EXPECT_EQ(ls.pageToken, "T");
  EXPECT_EQ(ls.pages, 3u);
}

TEST(Options, SeveralFilesMayBeNamed) {
  const auto trash = command<TrashOptions>({"trash", "1a", "2b", "--account", "ada@example.com"}).second;
  EXPECT_EQ(trash.fileIDs, (std::vector<std::string>{"1a", "2b"}));
  EXPECT_EQ(trash.account, "ada@example.com");
  const auto rm = command<RmOptions>({"rm", "--permanently", "1a", "2b"}).second;
  EXPECT_EQ(rm.fileIDs, (std::vector<std::string>{"1a", "2b"}));
  EXPECT_TRUE(rm.permanently);
  EXPECT_FALSE(command<RmOptions>({"rm", "1a"}).second.permanently);
}

TEST(Options, FileIDsMayBeginWithADashAfterTwoDashes) {
  EXPECT_EQ(command<TrashOptions>({"trash", "--", "-abc", "--permanently"}).second.fileIDs,
            (std::vector<std::string>{"-abc", "--permanently"}));
}

TEST(Options, WhatIsWrongIsNamed) {
  EXPECT_THAT(refusal({}), HasSubstr("No command"));
  EXPECT_THAT(refusal({"fly"}), HasSubstr("fly"));
  EXPECT_THAT(refusal({"ls", "--wings"}), HasSubstr("--wings"));
  EXPECT_THAT(refusal({"ls", "a@example.com", "b@example.com"}), HasSubstr("b@example.com"));
  EXPECT_THAT(refusal({"trash"}), HasSubstr("ID"));
  EXPECT_THAT(refusal({"sign-out"}), HasSubstr("ACCOUNT"));
  EXPECT_THAT(refusal({"ls", "--pages", "0"}), HasSubstr("--pages"));
  EXPECT_THAT(refusal({"ls", "--pages", "x"}), HasSubstr("--pages"));
  EXPECT_THAT(refusal({"sign-in", "--timeout", "-1"}), HasSubstr("--timeout"));
  EXPECT_THAT(refusal({"--color", "pink", "ls"}), HasSubstr("pink"));
  EXPECT_THAT(refusal({"--log-level", "loud", "ls"}), HasSubstr("loud"));
  EXPECT_THAT(refusal({"--keychain", "cloud", "ls"}), HasSubstr("cloud"));
  EXPECT_THAT(refusal({"--ca-file", "/no/such/file", "ls"}), HasSubstr("/no/such/file"));
}

TEST(Options, HelpAndVersionAreTexts) {
  EXPECT_THAT(std::get<InfoText>(parsed({"--version"})).text, StartsWith("corvane "));
  const std::string help = std::get<InfoText>(parsed({"--help"})).text;
  for (const char* word : {"sign-in", "accounts", "status", "about", "ls", "trash", "rm", "sign-out",
                           "Examples:", "Exit codes:", "--permanently", "--ca-file"})
    EXPECT_THAT(help, HasSubstr(word));
  EXPECT_THAT(std::get<InfoText>(parsed({"ls", "--help"})).text, HasSubstr("--page-token"));
}

TEST(Options, JSONIsSeenEvenInABrokenCommandLine) {
  const std::vector<const char*> line{"corvane", "fly", "--json"};
  EXPECT_TRUE(asksForJSON(3, line.data()));
  EXPECT_FALSE(asksForJSON(2, line.data()));
  const std::vector<const char*> after{"corvane", "trash", "--", "--json"};
  EXPECT_FALSE(asksForJSON(4, after.data()));
}

}  // namespace
}  // namespace corvane::cli::test
