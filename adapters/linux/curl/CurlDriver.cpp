#include "CurlDriver.hpp"

#include "EndOfBlock.hpp"

#include <algorithm>
#include <utility>

namespace corvane {

void CurlDriver::adopt(std::unique_ptr<CurlLoop> loop) {
  if (!bell_) bell_.emplace();
  loop_ = std::move(loop);
}

// Mail

void CurlDriver::post(std::shared_ptr<Exchange> exchange) noexcept {
  const bool blockEnds = EndOfBlock::take();
  Lock lock(mutex_);
  mail_.requests.push(std::move(exchange));
  if (blockEnds && !isDriven_ && !threadNeeded_ && SideJob::leave(shared_from_this())) return;
  wakeDriver(std::move(lock));
}

void CurlDriver::poke() noexcept {
  Lock lock(mutex_);
  mail_.sweep = true;
  wakeDriver(std::move(lock));
}

void CurlDriver::stop() noexcept {
  Lock lock(mutex_);
  stopped_ = true;
  wakeDriver(std::move(lock));
}

// Whoever is woken is so after the lock, for which it would have to wait at once.
void CurlDriver::wakeDriver(Lock lock) noexcept {
  if (!isDriven_) return wakeThread(std::move(lock));
  lock.unlock();
  bell_->ring();
}

void CurlDriver::wakeThread(Lock lock) noexcept {
  threadNeeded_ = true;
  lock.unlock();
  forThread_.notify_one();
}

// The network thread

void CurlDriver::runThread() noexcept {
  Lock lock(mutex_);
  for (;;) {
    awaitNeed(lock);  // also when there is nothing to do but to end: a worker may still drive
    isDriven_ = true;
    driveUntilQuiet(lock);
    if (stopped_) break;
    isDriven_ = false;
  }
  const auto unread = std::exchange(mail_, {});  // it holds its requests, and they hold this
  lock.unlock();
  loop_.reset();
}

void CurlDriver::awaitNeed(Lock& lock) noexcept {
  for (;;) {
    const bool isDue = Clock::now() >= threadDue_;
    if (!isDriven_ && (threadNeeded_ || isDue)) return;
    if (isDue) threadDue_ = Clock::time_point::max();  // the worker that drives will say when again
    forThread_.wait_until(lock, threadDue_);
  }
}

void CurlDriver::driveUntilQuiet(Lock& lock) noexcept {
  threadNeeded_ = false;
  while (!stopped_) {
    auto mail = std::exchange(mail_, {});
    lock.unlock();
    loop_->work(std::move(mail));
    auto sleep = loop_->closeIdle();
    const bool handedOver = loop_->handOver();
    if (!handedOver) sleep = std::min(sleep, CurlLoop::untilPoolTakesIt);
    const bool isOver = handedOver && !loop_->isRunning();
    if (!isOver) loop_->wait(sleep, *bell_);
    lock.lock();
    threadDue_ = Clock::now() + sleep;
    if (isOver && isQuiet()) return;
  }
}

// A worker

Block CurlDriver::work(const std::atomic<bool>& wanted) noexcept {
  Lock lock(mutex_);
  if (isDriven_ || stopped_) return {};
  isDriven_ = true;
  threadNeeded_ = false;
  driveUntilAnswered(lock, wanted);
  return leave(lock);
}

void CurlDriver::driveUntilAnswered(Lock& lock, const std::atomic<bool>& wanted) noexcept {
  bool isOver = false;
  while (!isOver && !wanted && !stopped_) {
    auto mail = std::exchange(mail_, {});
    lock.unlock();
    loop_->work(std::move(mail));
    isOver = loop_->hasAnswers() || !loop_->isRunning();
    if (!isOver) loop_->wait(loop_->closeIdle(), *bell_);
    lock.lock();
  }
}

/// Leaves whatever is under way to the network thread. Gives the first answer's block.
Block CurlDriver::leave(Lock& lock) noexcept {
  lock.unlock();
  auto answer = loop_->takeAnswer();
  const auto due = Clock::now() + loop_->closeIdle();
  const bool goesOn = !loop_->handOver() || loop_->isRunning();
  lock.lock();
  isDriven_ = false;
  if (goesOn || !isQuiet()) {
    wakeThread(std::move(lock));
  } else if (due < threadDue_) {
    threadDue_ = due;
    lock.unlock();
    forThread_.notify_one();
  }
  return answer;
}

void CurlDriver::callBack() noexcept {
  bell_->ring();
}

void CurlDriver::decline() noexcept {
  Lock lock(mutex_);
  if (!mail_.isEmpty()) wakeDriver(std::move(lock));
}

}  // namespace corvane
