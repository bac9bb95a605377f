#pragma once

#include <Corvane/UniqueFunction.hpp>

#include <atomic>
#include <memory>
#include <utility>

namespace corvane {

/// Something that can be told to stop. `cancel()` may come from any thread, any number of times, and never
/// waits.
class Cancellable {
 public:
  virtual ~Cancellable() = default;
  virtual void cancel() noexcept = 0;
};

/// The hold on a running piece of work: dropping it cancels the work.
///
/// Move-only. `cancel()` is idempotent, may be called from any thread and never waits: a callback already
/// running on another thread may finish, no new one begins. An empty one does nothing.
class [[nodiscard("dropping the cancellable cancels the work at once")]] AnyCancellable {
 public:
  AnyCancellable() = default;

  explicit AnyCancellable(std::shared_ptr<Cancellable> target) : target_(std::move(target)) {}

  /// Runs `onCancel` on the first `cancel()`, or when dropped without one.
  explicit AnyCancellable(UniqueFunction<void()> onCancel)
      : target_(std::make_shared<Action>(std::move(onCancel))) {}

  AnyCancellable(AnyCancellable &&) noexcept = default;
  AnyCancellable& operator=(AnyCancellable&& other) noexcept {
    if (this != &other) {
      auto dropped = std::exchange(target_, std::move(other.target_));
      if (dropped) dropped->cancel();
    }
    return *this;
  }
  ~AnyCancellable() {
    cancel();
  }

  void cancel() const noexcept {
    if (target_) target_->cancel();
  }

  /// Gives the hold away: the work runs to its end unless the taker cancels it. This one is empty afterwards.
  std::shared_ptr<Cancellable> release() noexcept {
    return std::move(target_);
  }

 private:
  class Action final : public Cancellable {
   public:
    explicit Action(UniqueFunction<void()> action) : action_(std::move(action)) {}
    void cancel() noexcept override {
      if (done_.exchange(true)) return;
      const auto action = std::move(action_);
      if (action) action();
    }

   private:
    std::atomic<bool> done_{false};
    UniqueFunction<void()> action_;
  };

  std::shared_ptr<Cancellable> target_;
};

}  // namespace corvane
