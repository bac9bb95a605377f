#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace corvane {

/// Whether the call before this one saw the default keyring open and left nothing there of what it looked for, so that the
/// keyring need not be looked at again. Only that one call may rely on it, not for long, and not if this process was
/// adding anything then or has begun to since, over whichever connection.
class Vacancy {
 public:
  explicit Vacancy(std::chrono::milliseconds limit) : limit_(limit) {}

  void beginCall() { before_ = std::exchange(now_, std::nullopt); }

  void looks() { now_ = Look{}; }
  void foundOpen(std::size_t items) {
    if (now_) now_->left = items;
  }
  void removedItem() {
    if (now_ && now_->left) --*now_->left;
  }

  /// As long as anything is being added.
  class Addition {
   public:
    Addition() {
      ++underWay;
      ++begun;
    }
    ~Addition() { --underWay; }
    Addition(const Addition&) = delete;
    Addition& operator=(const Addition&) = delete;
  };

  bool isKnown() const {
    return before_ && before_->left == std::size_t{0} && before_->isAlone && before_->begunBefore == begun &&
           Clock::now() - before_->time < limit_;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static inline std::atomic<std::uint64_t> begun = 0;
  static inline std::atomic<std::uint64_t> underWay = 0;

  struct Look {
    Clock::time_point time = Clock::now();
    std::uint64_t begunBefore = begun;
    bool isAlone = underWay == 0;  // asked last: one that begins in between is told by the number
    std::optional<std::size_t> left;
  };

  const std::chrono::milliseconds limit_;
  std::optional<Look> before_;
  std::optional<Look> now_;
};

}  // namespace corvane
