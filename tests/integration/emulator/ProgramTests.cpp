#include <gmock/gmock.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "EmulatorFixture.hpp"

extern char** environ;

namespace corvane::tests {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// A temporary folder, gone at the end.
class Folder {
 public:
  Folder() { mkdtemp(path_.data()); }
  ~Folder() { std::filesystem::remove_all(path_); }
  std::filesystem::path operator/(const char* name) const { return std::filesystem::path(path_) / name; }

 private:
  std::string path_ = std::filesystem::temp_directory_path() / "corvane-emulator-XXXXXX";
};

std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The program with its output in a pipe.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    int pipes[2];
    if (pipe(pipes) != 0) throw std::runtime_error("no pipe");
    output_ = pipes[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipes[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipes[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipes[0]);
    arguments.insert(arguments.begin(), CORVANE_EMULATOR_PROGRAM);
    std::vector<char*> pointers;
    for (auto& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    if (posix_spawn(&pid_, CORVANE_EMULATOR_PROGRAM, &actions, nullptr, pointers.data(), environ) != 0) {
      throw std::runtime_error("the program does not start");
    }
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipes[1]);
  }
  ~Program() {
    if (pid_ > 0) end(SIGKILL);
    ::close(output_);
  }

  std::string line() {
    std::string text;
    for (char c = 0; ::read(output_, &c, 1) == 1 && c != '\n';) text += c;
    return text;
  }
  std::string rest() {
    std::string text;
    for (char c = 0; ::read(output_, &c, 1) == 1;) text += c;
    return text;
  }
  int end(int signal) {
    kill(pid_, signal);
    return wait();
  }
  int wait() {
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = -1;
  int output_ = -1;
};

std::uint16_t portOf(const std::string& url) {
  return static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1)));
}

TEST(TheEmulatorProgram, SaysWhereItServesAndEndsQuietlyAtASignal) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const Folder folder;
    Program program({"--ready-file", folder / "ready", "--account", ada + "=3"});
    const auto url = program.line();
    EXPECT_THAT(url, StartsWith("http://127.0.0.1:"));
    EXPECT_EQ(HTTPClient(portOf(url)).get("/drive/v3/about?fields=*").status, 401);
    EXPECT_EQ(program.end(signal), 0);
    EXPECT_EQ(contents(folder / "ready"), url + "\n");
    EXPECT_EQ(program.rest(), "");
  }
}

TEST(TheEmulatorProgram, WritesItsAuthorityAndNoKey) {
  const Folder folder;
  Program program({"--tls-dir", folder / "tls"});
  const auto url = program.line();
  EXPECT_THAT(url, StartsWith("https://127.0.0.1:"));
  HTTPClient client(portOf(url), contents(folder / "tls/ca.pem"));
  EXPECT_EQ(client.get("/drive/v3/about?fields=*").status, 401);
  for (const auto& file : std::filesystem::recursive_directory_iterator(folder / "tls")) {
    EXPECT_THAT(contents(file.path()), testing::Not(HasSubstr("PRIVATE KEY")));
  }
}

TEST(TheEmulatorProgram, RefusesArgumentsThatMakeNoSense) {
  const std::vector<std::vector<std::string>> wrong = {{"--port", "many"},
                                                       {"--port", "70000"},
                                                       {"--account", "ada@example.com=x"},
                                                       {"--account", "ada@example.com="},
                                                       {"--account", "nobody"},
                                                       {"--account", ada, "--account", ada},
                                                       {"--consent", "maybe"},
                                                       {"--files", "-1"},
                                                       {"--token-lifetime", "0"},
                                                       {"--surprise"},
                                                       {"surprise"}};
  for (const auto& arguments : wrong) {
    Program program(arguments);
    const auto said = program.rest();
    EXPECT_EQ(program.wait(), 2) << arguments.back();
    EXPECT_THAT(said, HasSubstr(arguments.size() > 1 ? arguments[1].substr(0, 2) : "surprise")) << said;
  }
}

TEST(TheEmulatorProgram, SaysWhichFileItCannotWrite) {
  Program program({"--ready-file", "/nonexistent/ready"});
  program.line();
  EXPECT_THAT(program.rest(), HasSubstr("/nonexistent/ready"));
  EXPECT_EQ(program.wait(), 1);
}

}  // namespace
}  // namespace corvane::tests
