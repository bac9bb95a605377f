#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace corvane {

/// Whether the call before this one saw the default keyring open and left nothing there of what it looked for, so that the
/// keyring need not be looked at again. Only that one call may rely on it, not for long, and not if this process has
/// added anything since, over whichever connection.
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

  /// Before and after anything is added.
  static void adds() { ++additions; }

  bool isKnown() const {
    return before_ && before_->left == std::size_t{0} && before_->additionsBefore == additions &&
           Clock::now() - before_->time < limit_;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static inline std::atomic<std::uint64_t> additions = 0;

  struct Look {
    Clock::time_point time = Clock::now();
    std::uint64_t additionsBefore = additions;
    std::optional<std::size_t> left;
  };

  const std::chrono::milliseconds limit_;
  std::optional<Look> before_;
  std::optional<Look> now_;
};

}  // namespace corvane
