#include "ProgramTest.hpp"

#include <csignal>

namespace corvane::cli::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

/// The port in the address that the browser is to come back to.
std::uint16_t portToReturnTo(const std::string& page) {
  const std::string mark = "127.0.0.1%3A";
  const auto found = page.find(mark, page.find("redirect_uri="));
  return found == std::string::npos
             ? std::uint16_t{0}
             : static_cast<std::uint16_t>(std::stoi(page.substr(found + mark.size(), 5)));
}

using InterruptedSignIn = ProgramTest;

TEST_F(InterruptedSignIn, IsDismissedAndItsListenerIsGone) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Program program(setup({"--json", "--credentials", credentials(), "sign-in", "--no-browser"}));
    const std::string page = program.waitForErrorLine(pageStart());
    ASSERT_TRUE(listensOn(portToReturnTo(page))) << page;
    program.signal(signal);
    const auto result = program.finish();
    EXPECT_EQ(result.exitCode, 130);
    const auto error = errorIn(result);
    EXPECT_EQ(error.at("kind"), "cancelled");
    EXPECT_EQ(error.at("domain"), "Corvane.GoogleDriveAuthorizationProviderError");
    EXPECT_FALSE(listensOn(portToReturnTo(page)));
  }
  EXPECT_EQ(run({"accounts"}).exitCode, 4);
}

using InterruptedWork = SignedInProgramTest;

TEST_F(InterruptedWork, ListingCancelsItsRequest) {
  const auto gate = std::make_shared<emulator::Gate>();
  google.faults().add("files.list", Fault::held(gate));
  Program program(setup({"ls"}));
  ASSERT_TRUE(gate->waitUntilReached());
  program.signal(SIGINT);
  const auto result = program.finish();
  EXPECT_EQ(result.exitCode, 130);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(google.journal().count("files.list"), 1u);
  gate->open();
}

TEST_F(InterruptedWork, ProgramsAreToldInJSON) {
  const auto gate = std::make_shared<emulator::Gate>();
  google.faults().add("about", Fault::held(gate));
  Program program(setup({"--json", "about"}));
  ASSERT_TRUE(gate->waitUntilReached());
  program.signal(SIGTERM);
  const auto result = program.finish();
  EXPECT_EQ(result.exitCode, 130);
  EXPECT_EQ(errorIn(result).at("kind"), "cancelled");
  gate->open();
}

TEST_F(InterruptedWork, TrashSaysThatTheOutcomeIsNotKnown) {
  const auto gate = std::make_shared<emulator::Gate>();
  google.faults().add("files.update", Fault::held(gate));
  Program program(setup({"trash", "first", "second"}));
  ASSERT_TRUE(gate->waitUntilReached());
  program.signal(SIGINT);
  const auto result = program.finish();
  EXPECT_EQ(result.exitCode, 130);
  EXPECT_THAT(result.errors, AllOf(HasSubstr("move first to the trash is not known"),
                                   HasSubstr("Not touched: second.")));
  EXPECT_EQ(google.journal().count("files.update"), 1u);
  gate->open();
}

TEST_F(InterruptedWork, ProgramsAreToldWhoseOutcomeIsNotKnown) {
  const auto gate = std::make_shared<emulator::Gate>();
  google.faults().add("files.update", Fault::held(gate));
  Program program(setup({"--json", "trash", "first", "second"}));
  ASSERT_TRUE(gate->waitUntilReached());
  program.signal(SIGINT);
  const auto result = program.finish();
  EXPECT_EQ(result.exitCode, 130);
  const auto error = errorIn(result);
  EXPECT_EQ(error.at("kind"), "cancelled");
  EXPECT_EQ(error.at("id"), "first");
  EXPECT_EQ(error.at("failureReason"), "Not touched: second.");
  gate->open();
}

}  // namespace
}  // namespace corvane::cli::test
