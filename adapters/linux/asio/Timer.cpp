#include "asio/Timer.hpp"

#include "asio/WorkerPool.hpp"

namespace corvane {

void Timer::cancel() noexcept {
  if (!drop()) return;
  if (const auto pool = pool_.lock()) pool->forget(shared_from_this());
}

void Timer::run() {
  if (claimed_.exchange(true)) return;
  const Block block = std::move(block_);
  block();
}

bool Timer::drop() noexcept {
  if (claimed_.exchange(true)) return false;
  block_ = Block();
  return true;
}

}  // namespace corvane
