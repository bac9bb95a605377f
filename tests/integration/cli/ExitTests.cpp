#include "ProgramTest.hpp"

#include <csignal>
#include <filesystem>

namespace corvane::cli::test {
namespace {

using testing::HasSubstr;

/// What there is to be left over when the program ends too early.
class ProgramExit : public SignedInProgramTest {
 protected:
  static constexpr int runs = 40;

  std::vector<std::string> keychainFiles() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(home.path() / "corvane"))
      names.push_back(entry.path().filename());
    return names;
  }
};

TEST_F(ProgramExit, KeychainIsClosedHoweverTheCommandEnds) {
  const auto isClosed = testing::Not(testing::Contains(testing::EndsWith("-wal")));
  for (int i = 0; i < runs; ++i) {
    run({"about"});
    ASSERT_THAT(keychainFiles(), isClosed) << i;
    run({"trash", "nothing"});
    ASSERT_THAT(keychainFiles(), isClosed) << i;
  }
  run({"sign-out", "ada@example.com"});
  EXPECT_THAT(keychainFiles(), isClosed);
}

TEST_F(ProgramExit, KeychainIsClosedAfterAnInterrupt) {
  const auto gate = std::make_shared<emulator::Gate>();
  google.faults().add("about", Fault::held(gate));
  Program program(setup({"about"}));
  ASSERT_TRUE(gate->waitUntilReached());
  program.signal(SIGINT);
  EXPECT_EQ(program.finish().exitCode, 130);
  EXPECT_THAT(keychainFiles(), testing::Not(testing::Contains(testing::EndsWith("-wal"))));
  gate->open();
}

TEST_F(ProgramExit, LogKeepsItsLastLine) {
  for (int i = 0; i < runs; ++i) {
    google.faults().add("about", Fault::error(403, "insufficientPermissions", "Not for you."));
    const auto result = run({"about", "--log-level", "verbose"});
    EXPECT_EQ(result.exitCode, 6);
    ASSERT_THAT(result.errors, HasSubstr("about.get failed")) << i;
  }
}

}  // namespace
}  // namespace corvane::cli::test
