#pragma once

#include "Program.hpp"
#include "ScriptedBrowser.hpp"
#include "support/TemporaryFolder.hpp"

#include <CorvaneEmulator/Emulator.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace corvane::cli::test {

using emulator::Consent;
using emulator::Emulator;
using emulator::Fault;

/// The program with a home of its own and a local Google with two accounts.
class ProgramTest : public testing::Test {
 protected:
  explicit ProgramTest(emulator::Options options = defaultOptions()) : google(std::move(options)) {
    google.start();
    std::ofstream(credentials())
        << R"({"installed":{"client_id":"corvane-demo-client","project_id":"demo",)"
           R"("client_secret":"corvane-demo-secret","redirect_uris":["http://localhost"]}})";
  }
  ~ProgramTest() override { EXPECT_TRUE(google.faults().empty()) << google.faults().description(); }

  static emulator::Options defaultOptions() {
    return {
        .accounts = {{.email = "ada@example.com", .files = 1200}, {.email = "bob@example.com", .files = 3}}};
  }

  std::string credentials() const { return home.path() / "client.json"; }

  ProgramSetup setup(std::vector<std::string> arguments) const {
    std::vector<std::string> command{CORVANE_PROGRAM, "--google", google.baseURL(), "--keychain", keychain};
    command.insert(command.end(), arguments.begin(), arguments.end());
    ProgramSetup program{
        .command = command,
        .environment = {
            {"XDG_DATA_HOME", home.path()}, {"TERM", "xterm"}, {"NO_COLOR", ""}, {"BROWSER", ""}}};
    // Nobody's desktop is to open or to keep anything; tests of the keyring bring a bus of their own.
    if (keychain == "file") {
      program.environment.emplace("DBUS_SESSION_BUS_ADDRESS", "");
      program.environment.emplace("XDG_RUNTIME_DIR", "");
    }
    return program;
  }

  ProgramResult run(std::vector<std::string> arguments) const {
    return Program(setup(std::move(arguments))).finish();
  }

  /// The beginning of the page's address, which stands on a line of its own.
  std::string pageStart() const { return google.baseURL() + "/o/oauth2/v2/auth?"; }

  ProgramResult signIn(const std::string& account, std::vector<std::string> more = {}) const {
    std::vector<std::string> arguments{"--credentials", credentials(), "sign-in",
                                       "--no-browser",  "--account",   account};
    arguments.insert(arguments.end(), more.begin(), more.end());
    Program program(setup(std::move(arguments)));
    const std::string page = program.waitForErrorLine(pageStart());
    if (!page.empty()) browse(page);
    return program.finish();
  }

  static std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) out.push_back(line);
    return out;
  }

  static std::vector<nlohmann::json> objects(const std::string& text) {
    std::vector<nlohmann::json> out;
    for (const auto& line : lines(text)) out.push_back(nlohmann::json::parse(line));
    return out;
  }

  /// The error that the program told in JSON, on the last line of standard error.
  static nlohmann::json errorIn(const ProgramResult& result) {
    const auto all = lines(result.errors);
    if (all.empty()) throw std::runtime_error("the program reported no error");
    return nlohmann::json::parse(all.back()).at("error");
  }

  std::string keychain = "file";
  corvane::test::TemporaryFolder home;
  Emulator google;
};

/// The same with ada signed in.
class SignedInProgramTest : public ProgramTest {
 protected:
  explicit SignedInProgramTest(emulator::Options options = defaultOptions())
      : ProgramTest(std::move(options)) {
    const auto result = signIn("ada@example.com");
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    google.journal().clear();
  }
};

}  // namespace corvane::cli::test
