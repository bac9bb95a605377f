#include "ProgramTest.hpp"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define CORVANE_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define CORVANE_SANITIZED 1
#endif
#endif

namespace corvane::cli::test {
namespace {

class LongListing : public SignedInProgramTest {
 protected:
  LongListing()
      : SignedInProgramTest({.accounts = {{.email = "ada@example.com", .files = 100'000}},
                             .missingCreatedTimeEvery = 0}) {}
};

TEST_F(LongListing, TakesNoMoreMemoryThanAShortOne) {
#ifdef CORVANE_SANITIZED
  GTEST_SKIP() << "sanitizers need memory of their own";
#endif
  auto measured = setup({"--json", "ls"});
  const std::string report = home.path() / "peak";
  measured.command.insert(measured.command.begin(), {CORVANE_PEAK_MEMORY, report});
  const auto result = Program(measured).finish();
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_EQ(lines(result.output).size(), 100'000u);
  long peak = 0;  // KiB
  std::ifstream(report) >> peak;
  EXPECT_GT(peak, 0);
  EXPECT_LT(peak, 40 * 1024);
  RecordProperty("peakKiB", static_cast<int>(peak));
}

}  // namespace
}  // namespace corvane::cli::test
