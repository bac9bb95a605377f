#include "PlatformEnd.hpp"
#include "Startup.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace corvane::cli::test {
namespace {

/// Whether a claim holds in a process of its own, which may spoil what it likes.
template <class Claim>
bool holdsInAChild(const Claim& claim) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(claim() ? 0 : 1);
  int status = 0;
  return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int accessMode(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  return flags < 0 ? flags : flags & O_ACCMODE;
}

TEST(Startup, ProcessIsMarkedAsNotToBeDumped) {
  EXPECT_TRUE(holdsInAChild([] {
    protectMemory();
    return ::prctl(PR_GET_DUMPABLE) == 0;
  }));
}

TEST(Startup, KeyLogIsTakenOutOfTheEnvironment) {
  EXPECT_TRUE(holdsInAChild([] {
    ::setenv("SSLKEYLOGFILE", "/tmp/keys", 1);
    dropKeyLog();
    return !std::getenv("SSLKEYLOGFILE");
  }));
}

TEST(Startup, ClosedStandardDescriptorsAreOpenedAndOutputStaysUnwritable) {
  EXPECT_TRUE(holdsInAChild([] {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::close(descriptor);
    openStandardDescriptors();
    return accessMode(STDIN_FILENO) == O_RDONLY && accessMode(STDOUT_FILENO) == O_RDONLY &&
           accessMode(STDERR_FILENO) == O_WRONLY;
  }));
}

TEST(Startup, OpenStandardDescriptorsAreLeftAlone) {
  EXPECT_TRUE(holdsInAChild([] {
    int ends[2];
    if (::pipe(ends) != 0 || ::dup2(ends[1], STDOUT_FILENO) < 0) return false;
    ::close(STDIN_FILENO);
    openStandardDescriptors();
    return accessMode(STDOUT_FILENO) == O_WRONLY && ::write(STDOUT_FILENO, "x", 1) == 1;
  }));
}

TEST(PlatformEnd, IsReachedOnceTheLastReferenceIsDropped) {
  PlatformEnd end;
  auto first = end.token();
  auto second = first;
  first.reset();
  EXPECT_FALSE(end.wait(std::chrono::milliseconds(0)));
  second.reset();
  EXPECT_TRUE(end.wait(std::chrono::milliseconds(0)));
}

TEST(PlatformEnd, NeedsNoWaitWithoutAPlatform) {
  EXPECT_TRUE(PlatformEnd().wait(std::chrono::milliseconds(0)));
}

}  // namespace
}  // namespace corvane::cli::test
