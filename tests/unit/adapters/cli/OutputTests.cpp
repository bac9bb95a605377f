#include "Failure.hpp"
#include "present/Output.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <future>

namespace corvane::cli::test {
namespace {

class OutputToPipe : public testing::Test {
 protected:
  OutputToPipe() {
    std::signal(SIGPIPE, SIG_IGN);
    if (::pipe(ends_) != 0) std::abort();
  }
  ~OutputToPipe() override {
    closeReader();
    ::close(ends_[1]);
  }
  void closeReader() {
    if (ends_[0] >= 0) ::close(ends_[0]);
    ends_[0] = -1;
  }
  int writer() const { return ends_[1]; }
  int reader() const { return ends_[0]; }

 private:
  int ends_[2];
};

TEST_F(OutputToPipe, LinesComeOutWhenFlushed) {
  Output out(writer(), -1);
  out.line("one");
  out.text("two");
  out.flush();
  char buffer[16];
  const auto count = ::read(reader(), buffer, sizeof buffer);
  EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(count)), "one\ntwo");
}

TEST_F(OutputToPipe, ReaderThatWentAwayIsAReasonToStopQuietly) {
  Output out(writer(), -1);
  closeReader();
  out.line("one");
  EXPECT_THROW(out.flush(), OutputClosed);
  EXPECT_NO_THROW(out.flush());  // nothing is left to fail a second time
}

TEST_F(OutputToPipe, InterruptEndsTheWaitForASlowReader) {
  const int interrupt = ::eventfd(0, 0);
  Output out(writer(), interrupt);
  auto writing = std::async(std::launch::async, [&out] {
    try {
      for (;;) out.line(std::string(1000, 'x'));
    } catch (const Interrupted&) {
      return true;
    }
  });
  const std::uint64_t one = 1;
  ASSERT_EQ(::write(interrupt, &one, sizeof one), static_cast<ssize_t>(sizeof one));
  EXPECT_TRUE(writing.get());
  ::close(interrupt);
}

TEST(Output, FullDiskIsAnErrorThatSaysSo) {
  const int full = ::open("/dev/full", O_WRONLY);
  ASSERT_GE(full, 0);
  Output out(full, -1);
  out.line("one");
  try {
    out.flush();
    FAIL() << "no error";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exitCode, ExitCode::other);
    EXPECT_EQ(failure.kind, "output");
    EXPECT_EQ(failure.why, "No space left on device.");
  }
  ::close(full);
}

TEST(Output, FailureRepeatsTheDeedThatCouldNotBeTold) {
  const int full = ::open("/dev/full", O_WRONLY);
  Output out(full, -1);
  try {
    out.lineOfDeed("Deleted 1a for good");
    FAIL() << "no error";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.headline,
              "Could not write the output. It was done all the same: Deleted 1a for good");
  }
  ::close(full);
}

TEST(Output, DescriptorForReadingIsRefusedBeforeAnythingIsWritten) {
  const int readOnly = ::open("/dev/null", O_RDONLY);
  EXPECT_THROW(Output(readOnly, -1).requireOpen(), Failure);
  EXPECT_THROW(Output(9999, -1).requireOpen(), Failure);
  const int writable = ::open("/dev/null", O_WRONLY);
  EXPECT_NO_THROW(Output(writable, -1).requireOpen());
  ::close(readOnly);
  ::close(writable);
}

TEST(Output, ClosedDescriptorIsAnErrorAndNoEndlessLoop) {
  Output out(9999, -1);
  out.line("one");
  EXPECT_THROW(out.flush(), Failure);
}

}  // namespace
}  // namespace corvane::cli::test
