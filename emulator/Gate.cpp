#include <CorvaneEmulator/Gate.hpp>
#include <utility>

namespace corvane::emulator {

void Gate::open() {
  const std::lock_guard lock(mutex_);
  open_ = true;
  for (const auto& waiter : std::exchange(waiters_, {})) waiter.notify();
}

bool Gate::waitUntilReached(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  return arrived_.wait_for(lock, limit, [this] { return reached_; });
}

bool Gate::reach(const void* owner, std::function<void()> notify) {
  const std::lock_guard lock(mutex_);
  reached_ = true;
  arrived_.notify_all();
  if (!open_) waiters_.push_back({owner, std::move(notify)});
  return open_;
}

void Gate::forget(const void* owner) {
  const std::lock_guard lock(mutex_);
  std::erase_if(waiters_, [owner](const Waiter& waiter) { return waiter.owner == owner; });
}

}  // namespace corvane::emulator
