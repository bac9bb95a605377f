#include "Outputs.hpp"
#include "integration/cli/ProgramTest.hpp"
#include "integration/cli/ScriptedBrowser.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>

namespace corvane::cli::test {
namespace {

using corvane::test::Outputs;
using testing::IsEmpty;

std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class ProgramOutputs : public ProgramTest {
 protected:
  /// What anybody on this computer, or in this account, sees of the running children of this process.
  void lookAtChildren(const std::string& what) {
    int seen = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
      std::istringstream children(contents(task.path() / "children"));
      for (std::string child; children >> child;) {
        const auto process = std::filesystem::path("/proc") / child;
        outputs.add("command line of " + what, contents(process / "cmdline"));
        outputs.add("environment of " + what, contents(process / "environ"));
        ++seen;
      }
    }
    EXPECT_GE(seen, 1) << what;
  }

  void runVerbosely(const std::string& what, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--log-level", "verbose"});
    Program program(setup(arguments));
    const auto result = program.finish();
    outputs.add("output of " + what, result.output);
    outputs.add("errors of " + what, result.errors);
  }

  static std::string parameter(const std::string& url, const std::string& name) {
    const auto from = url.find(name) + name.size();
    return url.substr(from, url.find('&', from) - from);
  }

  Outputs outputs;
};

TEST_F(ProgramOutputs, HoldNoSecretInAnyCommandNorInWhatTheBrowserIsStartedWith) {
  // The browser opener notes what it was started with, and by whom.
  const std::string opener = home.path() / "xdg-open";
  const std::string note = home.path() / "opener";
  ASSERT_EQ(::mkfifo((note + ".url").c_str(), 0600), 0);
  std::ofstream(opener) << "#!/bin/sh\ncat /proc/$$/cmdline > " << note << ".cmdline\ncat /proc/$$/environ > "
                        << note << ".environ\nprintf '%s\\n' \"$1\" > " << note << ".url\n";
  ASSERT_EQ(::chmod(opener.c_str(), 0700), 0);
  auto started = setup(
      {"--credentials", credentials(), "--log-level", "verbose", "sign-in", "--account", "ada@example.com"});
  started.environment["PATH"] = home.path().string() + ":" + std::getenv("PATH");
  std::string page;
  {
    Program program(started);
    std::string url;
    std::getline(std::ifstream(note + ".url") >> std::ws, url);
    page = program.waitForErrorLine(pageStart());
    lookAtChildren("signing in");
    browse(url);
    const auto result = program.finish();
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    outputs.add("output of signing in", result.output);
    std::string errors = result.errors;
    const auto shown = errors.find(page);
    ASSERT_NE(shown, std::string::npos);
    outputs.add("errors of signing in, but for the page's address", errors.erase(shown, page.size()));
  }
  outputs.add("environment of the browser's opener", contents(note + ".environ"));
  const std::string command = contents(note + ".cmdline");
  EXPECT_THAT(command, testing::HasSubstr("http://127.0.0.1:"));
  outputs.add("command line of the browser's opener", command);

  const auto gate = std::make_shared<emulator::Gate>();
  google.faults().add("about", Fault::held(gate));
  {
    Program program(setup({"--log-level", "verbose", "about"}));
    gate->waitUntilReached();
    lookAtChildren("showing an account");
    gate->open();
    const auto result = program.finish();
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    outputs.add("about", result.output + result.errors);
  }
  runVerbosely("accounts", {"accounts"});
  runVerbosely("status", {"status"});
  google.expireTokens();
  runVerbosely("listing", {"ls"});
  runVerbosely("listing in JSON", {"--json", "ls", "--pages", "1"});
  google.faults().add("about", Fault::error(403, "insufficientPermissions"));
  runVerbosely("a refusal", {"about"});
  google.faults().add("about", Fault::error(403, "insufficientPermissions"));
  runVerbosely("a refusal in JSON", {"--json", "about"});
  runVerbosely("trashing", {"trash", google.fileID("ada@example.com", 0)});
  runVerbosely("removing what is not there", {"rm", "--permanently", "nothing"});
  google.revokeAll();
  runVerbosely("a revoked session", {"about"});
  runVerbosely("wrong credentials", {"--credentials", "/dev/null", "sign-in"});
  for (const auto& entry : google.journal().entries())
    if (entry.operation != "auth")
      outputs.add("URLs of requests", entry.target);  // that one is the sign-in URL

  auto secrets = google.secrets();
  ASSERT_GE(secrets.size(), 4u);
  secrets.emplace_back("corvane-demo-secret");
  secrets.emplace_back("eyJhbGciOiJ");
  secrets.push_back(contents(home.path() / "corvane" / "keychain.key"));
  ASSERT_EQ(secrets.back().size(), 32u);
  for (const char* name : {"&state=", "&nonce=", "&code_challenge="}) {
    secrets.push_back(parameter(page, name));
    ASSERT_GE(secrets.back().size(), 22u) << name;
  }
  runVerbosely("signing out", {"sign-out", "ada@example.com"});
  EXPECT_GE(outputs.size(), 50'000u) << "there is too little to look at";
  for (const auto& secret : secrets)
    EXPECT_THAT(outputs.placesOf(secret), IsEmpty()) << "beginning with " << secret.substr(0, 8);
}

TEST_F(ProgramOutputs, GoToFilesThatNobodyElseMayReadUnderAnyUmask) {
  namespace fs = std::filesystem;
  for (const mode_t mask : {0000U, 0022U, 0077U, 0777U}) {
    SCOPED_TRACE(mask);
    // Nothing of this test itself is made while the mask holds: 0777 would lock it out of its own files.
    auto started =
        setup({"--credentials", credentials(), "sign-in", "--no-browser", "--account", "ada@example.com"});
    const auto data = home.path() / ("data-" + std::to_string(mask));
    fs::create_directory(data);
    started.environment["XDG_DATA_HOME"] = data;
    const mode_t former = ::umask(mask);
    Program program(started);
    ::umask(former);
    browse(program.waitForErrorLine(pageStart()));
    const auto result = program.finish();
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(fs::status(data / "corvane").permissions(), fs::perms::owner_all);
    int files = 0;
    for (const auto& file : fs::directory_iterator(data / "corvane")) {
      EXPECT_EQ(file.status().permissions(), fs::perms::owner_read | fs::perms::owner_write) << file.path();
      ++files;
    }
    EXPECT_GE(files, 2);
  }
}

}  // namespace
}  // namespace corvane::cli::test
