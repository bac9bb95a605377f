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

TEST(ThreadState, OfTheThreadThatAsksIsRunnable) {
  EXPECT_EQ(stateOfThread(::gettid()), ThreadState::runnable);
}

TEST(ThreadState, OfAThreadThatWaitsIsBlockedWhateverItIsCalled) {
  std::promise<pid_t> started;
  std::promise<void> released;
  std::jthread waiting([&started, go = released.get_future()] {
    pthread_setname_np(pthread_self(), "a) R (b) R");
    started.set_value(::gettid());
    go.wait();
  });
  const pid_t thread = started.get_future().get();
  const auto end = std::chrono::steady_clock::now() + 60s;
  while (stateOfThread(thread) != ThreadState::blocked && std::chrono::steady_clock::now() < end)
    std::this_thread::yield();
  EXPECT_EQ(stateOfThread(thread), ThreadState::blocked);
  released.set_value();
}

TEST(ThreadState, OfAThreadThatIsNotThereIsUnknown) {
  EXPECT_EQ(stateOfThread(std::numeric_limits<pid_t>::max()), ThreadState::unknown);
}

}  // namespace
}  // namespace corvane
