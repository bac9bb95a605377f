#include "ProgramTest.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

namespace corvane::cli::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class Descriptors : public SignedInProgramTest {
 protected:
  ProgramResult runWithClosed(std::vector<int> closed, std::vector<std::string> arguments) const {
    auto program = setup(std::move(arguments));
    program.closed = std::move(closed);
    return Program(program).finish();
  }
  ProgramResult runInto(const std::string& file, std::vector<std::string> arguments) const {
    auto program = setup(std::move(arguments));
    program.outputFile = file;
    return Program(program).finish();
  }
};

TEST_F(Descriptors, ClosedOutputIsRefusedBeforeAnythingIsDone) {
  for (const std::vector<std::string>& command : {std::vector<std::string>{"accounts"},
                                                  {"status"},
                                                  {"about"},
                                                  {"ls"},
                                                  {"--help"},
                                                  {"--version"},
                                                  {"trash", "x"},
                                                  {"rm", "x", "--permanently"},
                                                  {"sign-out", "ada@example.com"}}) {
    const auto result = runWithClosed({STDOUT_FILENO}, command);
    EXPECT_EQ(result.exitCode, 1) << command.front();
    EXPECT_THAT(result.errors, HasSubstr("Standard output is closed")) << command.front();
  }
  EXPECT_EQ(google.journal().count(), 0u);
  EXPECT_EQ(run({"accounts"}).output, "ada@example.com\n");
}

TEST_F(Descriptors, ClosedOutputIsToldInJSONToo) {
  EXPECT_EQ(errorIn(runWithClosed({STDOUT_FILENO}, {"--json", "ls"})).at("kind"), "output");
}

TEST_F(Descriptors, ClosedInputAndErrorsDoNotHinder) {
  for (const std::vector<int>& closed : {std::vector<int>{0}, {2}, {0, 2}}) {
    const auto result = runWithClosed(closed, {"accounts"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "ada@example.com\n");
  }
  EXPECT_EQ(runWithClosed({2}, {"about", "--log-level", "verbose"}).exitCode, 0);
  EXPECT_EQ(runWithClosed({0, 1, 2}, {"sign-out", "ada@example.com"}).exitCode, 1);
  EXPECT_EQ(run({"accounts"}).output, "ada@example.com\n");
}

TEST_F(Descriptors, FullOutputIsSaidByEveryCommand) {
  for (const std::vector<std::string>& command : {std::vector<std::string>{"accounts"},
                                                  {"status"},
                                                  {"about"},
                                                  {"ls"},
                                                  {"--help"},
                                                  {"--version"}}) {
    const auto result = runInto("/dev/full", command);
    EXPECT_EQ(result.exitCode, 1) << command.front();
    EXPECT_THAT(result.errors, HasSubstr("No space left on device")) << command.front();
  }
}

TEST_F(Descriptors, DeedThatCannotBeToldOnOutputIsToldOnErrors) {
  const auto files = objects(run({"--json", "ls", "--pages", "1"}).output);
  const std::string first = files.at(0).at("id");
  const std::string second = files.at(1).at("id");
  google.journal().clear();
  const auto trash = runInto("/dev/full", {"trash", first, second});
  EXPECT_EQ(trash.exitCode, 1);
  EXPECT_THAT(trash.errors, AllOf(HasSubstr("Moved " + first + " to the trash"),
                                  HasSubstr("Not touched: " + second)));
  EXPECT_EQ(google.journal().count("files.update"), 1u);

  const auto signOut = runInto("/dev/full", {"sign-out", "ada@example.com"});
  EXPECT_EQ(signOut.exitCode, 1);
  EXPECT_THAT(signOut.errors, HasSubstr("Signed out ada@example.com"));
}

TEST_F(Descriptors, OutputBeyondTheUsersFileSizeLimitIsSaid) {
  auto program = setup({"--json", "ls"});
  const auto shell = {"/bin/bash", "-c", "ulimit -f 64; exec \"$@\"", "bash"};
  program.command.insert(program.command.begin(), shell.begin(), shell.end());
  program.outputFile = home.path() / "files";
  std::ofstream(program.outputFile).close();
  const auto result = Program(program).finish();
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.errors, HasSubstr("File too large"));
}

TEST_F(Descriptors, SignInThatCannotBeToldOnOutputIsToldOnErrors) {
  auto signingIn = setup(
      {"--credentials", credentials(), "sign-in", "--no-browser", "--account", "bob@example.com"});
  signingIn.outputFile = "/dev/full";
  Program program(signingIn);
  browse(program.waitForErrorLine(pageStart()));
  const auto result = program.finish();
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.errors, HasSubstr("Signed in as bob@example.com"));
  EXPECT_EQ(run({"accounts"}).output, "ada@example.com\nbob@example.com\n");
}

TEST_F(Descriptors, ReaderThatIsGoneStopsDeletingWithAFailure) {
  const auto files = objects(run({"--json", "ls", "--pages", "1"}).output);
  const std::string first = files.at(0).at("id");
  const std::string second = files.at(1).at("id");
  auto program = setup({"trash", first, second});
  program.readAtMost = 0;
  const auto gate = std::make_shared<emulator::Gate>();
  google.faults().add("files.update", Fault::held(gate));
  Program running(program);
  ASSERT_TRUE(gate->waitUntilReached());
  gate->open();
  const auto result = running.finish();
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.errors, HasSubstr("Not touched: " + second));
}

TEST_F(Descriptors, InterruptEndsTheWaitForACredentialsPipe) {
  const std::string pipe = home.path() / "client.fifo";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  Program program(setup({"--credentials", pipe, "sign-in", "--no-browser"}));
  const int writer =
      ::open(pipe.c_str(), O_WRONLY | O_CLOEXEC);  // once the program has opened its end
  program.signal(SIGINT);
  EXPECT_EQ(program.finish().exitCode, 130);
  ::close(writer);
}

TEST_F(Descriptors, PipeOfAuthoritiesIsRefused) {
  const std::string pipe = home.path() / "ca.fifo";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const auto result = run({"--ca-file", pipe, "about"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.errors, HasSubstr("is not a regular file"));
}

}  // namespace
}  // namespace corvane::cli::test
