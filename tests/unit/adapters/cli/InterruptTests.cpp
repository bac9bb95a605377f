#include "Interrupt.hpp"

#include <gtest/gtest.h>

#include <poll.h>
#include <unistd.h>

#include <future>

namespace corvane::cli::test {
namespace {

bool readable(int descriptor, int milliseconds) {
  pollfd waiting{descriptor, POLLIN, 0};
  return ::poll(&waiting, 1, milliseconds) == 1;
}

TEST(Interrupt, NothingHappensWithoutASignal) {
  Interrupt interrupt;
  EXPECT_FALSE(interrupt.happened());
  EXPECT_FALSE(readable(interrupt.descriptor(), 0));
}

TEST(Interrupt, FirstSignalTellsTheWatcherAndRaisesTheDescriptor) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Interrupt interrupt;
    std::promise<void> told;
    const auto watch = interrupt.watch([&told] { told.set_value(); });
    ::kill(::getpid(), signal);
    told.get_future().wait();
    EXPECT_TRUE(interrupt.happened());
    EXPECT_TRUE(readable(interrupt.descriptor(), 5000));
  }
}

TEST(Interrupt, SignalThatTheCallerHasUsIgnoreStaysIgnored) {
  std::signal(SIGINT, SIG_IGN);
  {
    const Interrupt interrupt;
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGINT), 0);
    EXPECT_EQ(sigismember(&blocked, SIGTERM), 1);
    ::kill(::getpid(), SIGTERM);
    EXPECT_TRUE(readable(interrupt.descriptor(), 5000));
  }
  std::signal(SIGINT, SIG_DFL);
}

TEST(Interrupt, LateWatcherIsToldAtOnce) {
  Interrupt interrupt;
  ::kill(::getpid(), SIGINT);
  ASSERT_TRUE(readable(interrupt.descriptor(), 5000));
  bool told = false;
  const auto watch = interrupt.watch([&told] { told = true; });
  EXPECT_TRUE(told);
}

TEST(Interrupt, DroppedWatcherIsLeftAlone) {
  Interrupt interrupt;
  bool told = false;
  {
    const auto watch = interrupt.watch([&told] { told = true; });
  }
  ::kill(::getpid(), SIGINT);
  ASSERT_TRUE(readable(interrupt.descriptor(), 5000));
  EXPECT_TRUE(interrupt.happened());
  EXPECT_FALSE(told);
}

TEST(Interrupt, SignalsAreAsBeforeOnceItIsGone) {
  sigset_t before;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  {
    Interrupt interrupt;
    sigset_t within;
    pthread_sigmask(SIG_SETMASK, nullptr, &within);
    EXPECT_EQ(sigismember(&within, SIGINT), 1);
  }
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  EXPECT_EQ(sigismember(&after, SIGINT), sigismember(&before, SIGINT));
}

TEST(InterruptDeathTest, SecondSignalEndsTheProgramAtOnce) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(
      {
        Interrupt interrupt;
        ::kill(::getpid(), SIGINT);
        readable(interrupt.descriptor(), 5000);
        ::kill(::getpid(), SIGINT);
        for (;;) ::pause();
      },
      testing::ExitedWithCode(130), "");
}

}  // namespace
}  // namespace corvane::cli::test
