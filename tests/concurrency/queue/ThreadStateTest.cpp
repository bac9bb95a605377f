#include "asio/ThreadState.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <limits>
#include <string>
#include <thread>

#include <pthread.h>
#include <unistd.h>

namespace corvane {
namespace {

using namespace std::chrono_literals;

TEST(ThreadState, TheThreadThatAsksIsRunnable) {
  EXPECT_TRUE(isRunnable(::gettid()));
}

TEST(ThreadState, AWaitingThreadIsNotRunnableWhateverItsName) {
  std::promise<pid_t> started;
  std::promise<void> released;
  std::jthread waiting([&started, go = released.get_future()] {
    pthread_setname_np(pthread_self(), "a) R (b) R");
    started.set_value(::gettid());
    go.wait();
  });
  const pid_t thread = started.get_future().get();
  const auto end = std::chrono::steady_clock::now() + 60s;
  while (isRunnable(thread) && std::chrono::steady_clock::now() < end)
    std::this_thread::yield();
  EXPECT_FALSE(isRunnable(thread));
  released.set_value();
}

TEST(ThreadState, AMissingThreadIsNotRunnable) {
  EXPECT_FALSE(isRunnable(std::numeric_limits<pid_t>::max()));
}

}  // namespace
}  // namespace corvane
