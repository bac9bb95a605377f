#pragma once

#include <CorvanePlatform/AuthSession.hpp>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvane::test {

/// A session that hands out "token-1" until that is rejected, then "token-2", and so on; or that lets its askers wait.
class ScriptedSession final : public AuthSession {
 public:
  std::optional<std::string> userEmail() const override { return "ada@example.com"; }

  AnyCancellable accessToken(std::optional<Secret> rejected, TokenHandler handler) override {
    auto asker = std::make_shared<Asker>();
    asker->handler = std::move(handler);
    {
      const std::lock_guard lock(mutex_);
      if (rejected) {
        rejected_.emplace_back(rejected->reveal());
        if (rejected_.back() == token()) ++generation_;
      }
      if (dropsAtOnce_) return {};
      if (held_) {
        askers_.push_back(asker);
        return AnyCancellable(std::shared_ptr<Cancellable>(asker));
      }
    }
    if (const auto asked = asker->take()) asked(result());
    return {};
  }

  /// From now on askers wait until `letGo`.
  void hold() {
    const std::lock_guard lock(mutex_);
    held_ = true;
  }
  void letGo() {
    std::vector<std::shared_ptr<Asker>> askers;
    {
      const std::lock_guard lock(mutex_);
      held_ = false;
      askers.swap(askers_);
    }
    for (const auto& asker : askers)
      if (const auto handler = asker->take()) handler(result());
  }
  /// Releases the handlers of those who wait, uncalled.
  void drop() {
    std::vector<std::shared_ptr<Asker>> askers;
    {
      const std::lock_guard lock(mutex_);
      askers.swap(askers_);
    }
    for (const auto& asker : askers) const auto released = asker->take();
  }
  /// From now on who asks is dropped at once.
  void dropAtOnce() {
    const std::lock_guard lock(mutex_);
    dropsAtOnce_ = true;
  }
  void fail(NSError error) { failure_ = std::move(error); }

  /// The tokens that were reported as refused, in order.
  std::vector<std::string> rejected() const {
    const std::lock_guard lock(mutex_);
    return rejected_;
  }
  /// How many wait and have not been cancelled.
  std::size_t waiting() const {
    const std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const auto& asker : askers_) count += asker->isWaiting() ? 1u : 0u;
    return count;
  }

 private:
  struct Asker final : Cancellable {
    void cancel() noexcept override { const auto released = take(); }
    TokenHandler take() {
      const std::lock_guard lock(mutex);
      return std::exchange(handler, nullptr);
    }
    bool isWaiting() const {
      const std::lock_guard lock(mutex);
      return static_cast<bool>(handler);
    }
    mutable std::mutex mutex;
    TokenHandler handler;
  };

  std::string token() const { return "token-" + std::to_string(generation_); }
  Result<Secret, NSError> result() const {
    const std::lock_guard lock(mutex_);
    return failure_ ? Result<Secret, NSError>::failure(*failure_)
                    : Result<Secret, NSError>::success(Secret(token()));
  }

  mutable std::mutex mutex_;
  std::vector<std::string> rejected_;
  int generation_ = 1;
  bool dropsAtOnce_ = false;
  bool held_ = false;
  std::optional<NSError> failure_;
  std::vector<std::shared_ptr<Asker>> askers_;
};

}  // namespace corvane::test
