#pragma once

#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <latch>
#include <mutex>
#include <thread>
#include <utility>

namespace corvane::test {

#if defined(__SANITIZE_THREAD__)
inline constexpr int raceRoundsDividedBy = 20;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
inline constexpr int raceRoundsDividedBy = 20;
#else
inline constexpr int raceRoundsDividedBy = 1;
#endif
#else
inline constexpr int raceRoundsDividedBy = 1;
#endif

/// How often a test repeats what races: `usual`, fewer times under ThreadSanitizer, or as often as
/// CORVANE_RACE_ROUNDS says.
inline int raceRounds(int usual) {
  if (const char* asked = std::getenv("CORVANE_RACE_ROUNDS")) return std::atoi(asked);
  return usual / raceRoundsDividedBy;
}

/// Two threads that do two things at the same moment, round after round.
class Race {
 public:
  Race() : second_([this] { work(); }) {}
  ~Race() {
    hand(nullptr);
    second_.join();
  }

  /// Runs both at once; returns when both are done.
  void run(const std::function<void()>& here, const std::function<void()>& there) {
    std::latch start(2);
    std::latch done(1);
    hand([&] {
      start.arrive_and_wait();
      there();
      done.count_down();
    });
    start.arrive_and_wait();
    here();
    done.wait();
  }

 private:
  void hand(std::function<void()> job) {
    const std::lock_guard guard(mutex_);
    job_ = std::move(job);
    handed_ = true;
    changed_.notify_one();
  }

  void work() {
    for (;;) {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return handed_; });
      handed_ = false;
      const auto job = std::move(job_);
      lock.unlock();
      if (!job) return;
      job();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> job_;
  bool handed_ = false;
  std::thread second_;
};

}  // namespace corvane::test
