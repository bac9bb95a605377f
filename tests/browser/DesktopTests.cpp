#include "BrowserTest.hpp"
#include "integration/cli/Program.hpp"
#include "support/KeyringSession.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

// The program at home on a desktop: a real keyring, a real browser.

namespace corvane::test {
namespace {

using cli::test::Program;
using cli::test::ProgramResult;
using ::testing::HasSubstr;

struct Desktop : BrowserTest {
  KeyringSession session;
  std::string credentials = (folder.path() / "client.json").string();
  std::string opened = (folder.path() / "opened").string();

  Desktop() {
    std::ofstream(credentials)
        << R"({"client_id":"corvane-demo-client","clientSecret":"corvane-demo-secret"})";
    ::mkfifo(opened.c_str(), 0600);
    const auto opener = folder.path() / "xdg-open";
    std::ofstream(opener) << "#!/bin/sh\nprintf '%s\\n' \"$1\" > '" << opened << "'\n";
    std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
  }

  cli::test::ProgramSetup setup(std::vector<std::string> arguments) const {
    std::vector<std::string> command{CORVANE_PROGRAM, "--keychain", "secret-service", "--google",
                                     google.baseURL()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return {.command = command,
            .environment = {{"PATH", folder.path().string() + ":" + std::getenv("PATH")},
                            {"BROWSER", ""},
                            {"XDG_DATA_HOME", folder.path().string()}}};
  }
  ProgramResult run(std::vector<std::string> arguments) const {
    return Program(setup(std::move(arguments))).finish();
  }
  // Sessions of a local Google have a service of their own.
  std::string service() const { return "corvane " + google.baseURL(); }
  std::string search() { return session.run("secret-tool search --all service '" + service() + "'"); }
};

TEST_F(Desktop, SignInThroughTheBrowserStaysInTheKeyringUntilSignOut) {
  Program program(setup({"--credentials", credentials, "sign-in"}));
  std::string page;  // no portal is on the bus, so xdg-open gets it
  std::getline(std::ifstream(opened), page);
  browser.open(page);
  screenshot("consent");
  consent("ada@example.com", "allow");
  const auto signedIn = program.finish();
  EXPECT_EQ(signedIn.exitCode, 0) << signedIn.errors;
  EXPECT_EQ(signedIn.output, "Signed in as ada@example.com\n");

  EXPECT_EQ(run({"accounts"}).output, "ada@example.com\n");
  EXPECT_THAT(search(), HasSubstr("label = " + service() + " – ada@example.com\n"));
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "corvane"));  // nothing went into a file

  session.run("restart-keyring");
  EXPECT_EQ(run({"accounts"}).output, "ada@example.com\n");
  EXPECT_THAT(run({"about"}).output, HasSubstr("ada@example.com"));

  EXPECT_EQ(run({"sign-out", "ada@example.com"}).exitCode, 0);
  EXPECT_EQ(search(), "");
  EXPECT_EQ(run({"accounts"}).exitCode, 4);
}

}  // namespace
}  // namespace corvane::test
