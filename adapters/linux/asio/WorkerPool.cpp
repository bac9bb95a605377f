#include "asio/WorkerPool.hpp"

#include "SignalsBlocked.hpp"
#include "asio/ThreadState.hpp"

#include <Corvane/NSError.hpp>

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <string>
#include <system_error>

namespace corvane {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Keeps "now plus delay" within the clock.
constexpr auto longestDelay = std::chrono::hours(24 * 365 * 100);

int cores() {
  return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 2U, 4U));
}

AnyError noThreadError(const std::system_error& cause) {
  UserInfo userInfo;
  userInfo.emplace(NSLocalizedDescriptionKey,
                   "Google Drive cannot be used now: the system has no thread for it (" +
                       cause.code().message() + ").");
  return NSError("NSPOSIXErrorDomain", cause.code().value(), std::move(userInfo));
}

}  // namespace

WorkerPool::WorkerPool(QueueTuning tuning) : tuning_(tuning), plan_(tuning, cores()) {}

// Posting

void WorkerPool::post(Block block) {
  process_.require();
  Blocks one;
  one.push_back(std::move(block));
  const Lock lock(mutex_);
  start();
  ready_.splice(ready_.end(), one);
  act(plan_.posted());
}

std::shared_ptr<Cancellable> WorkerPool::postAfter(std::chrono::microseconds delay, Block block) {
  process_.require();
  const auto wait = std::clamp<std::chrono::microseconds>(delay, 0us, longestDelay);
  const auto timer =
      std::make_shared<Timer>(weak_from_this(), Clock::now() + wait, std::move(block));
  if (wait == 0us) {
    post([timer] { timer->run(); });
    return timer;
  }
  Timers one;
  one[{timer->due, timer.get()}].emplace_back([timer] { timer->run(); });
  const Lock lock(mutex_);
  start();
  const auto place = timers_.insert(one.extract(one.begin())).position;
  if (place == timers_.begin()) clockChanged_.notify_one();
  return timer;
}

void WorkerPool::forget(Timer& timer) noexcept {
  if (process_.isAnother()) return;
  const Lock lock(mutex_);
  timers_.erase({timer.due, &timer});
}

// Threads

void WorkerPool::start() {
  if (plan_.isStarted()) return;
  process_.remember();
  try {
    const SignalsBlocked signals;
    if (!clock_.joinable()) clock_ = std::thread([self = shared_from_this()] { self->keepTime(); });
    addWorker();
  } catch (const std::system_error& error) {
    throw noThreadError(error);
  }
  plan_.started();
}

void WorkerPool::addWorker() {
  const SignalsBlocked signals;
  Workers one(1);
  one.front().thread =
      std::thread([self = shared_from_this(), worker = one.begin()] { self->work(worker); });
  busy_.splice(busy_.begin(), one);
}

void WorkerPool::act(PoolPlan::Actions actions) noexcept {
  if (actions.callWorker) callWorker();
  for (int missing = actions.addWorkers; missing > 0; --missing) {
    try {
      addWorker();
    } catch (const std::exception&) {  // no thread or memory now; the blocked workers may end
      actions = plan_.notAdded(missing);
      break;
    }
  }
  if (!actions.lookAfter) return;
  nextLook_ = Clock::now() + *actions.lookAfter;
  clockChanged_.notify_one();
}

void WorkerPool::callWorker() noexcept {
  if (resting_.empty()) return;
  const auto worker = resting_.begin();
  busy_.splice(busy_.begin(), resting_, worker);
  worker->isCalled = true;
  worker->called.notify_one();
}

void WorkerPool::work(Workers::iterator self) noexcept {
  pthread_setname_np(pthread_self(), "corvane-worker");
  Lock lock(mutex_);
  self->id = ::gettid();
  auto next = plan_.workerArrived();
  while (next != PoolPlan::Next::leave) {
    if (next == PoolPlan::Next::run) {
      runNext(lock);
      next = plan_.blockEnded();
    } else {
      next = rest(self, lock) ? plan_.workerArrived() : plan_.workerIdledLong();
    }
  }
  leave(self, lock);
}

void WorkerPool::runNext(Lock& lock) {
  Blocks one;
  one.splice(one.begin(), ready_, ready_.begin());
  lock.unlock();
  one.front()();
  one.clear();
  lock.lock();
}

/// Waits to be called; false after a long time.
bool WorkerPool::rest(Workers::iterator self, Lock& lock) {
  self->isCalled = false;
  resting_.splice(resting_.begin(), busy_, self);
  const auto isCalled = [self] { return self->isCalled; };
  if (plan_.isLastWorker())
    self->called.wait(lock, isCalled);
  else if (!self->called.wait_for(lock, tuning_.idleBeforeLeaving, isCalled))
    busy_.splice(busy_.begin(), resting_, self);
  return self->isCalled;
}

// Each leaving worker joins the one that left before it: at most one thread waits to be joined.
void WorkerPool::leave(Workers::iterator self, Lock& lock) {
  std::thread own = std::move(self->thread);
  busy_.erase(self);
  ended_ = busy_.empty() && resting_.empty();
  if (ended_) clockChanged_.notify_one();
  if (ended_ && orphaned_) own.detach();
  std::thread before = std::exchange(lastToLeave_, std::move(own));
  lock.unlock();
  if (before.joinable()) before.join();
}

bool WorkerPool::isWorker(std::thread::id thread) const noexcept {
  return std::any_of(busy_.begin(), busy_.end(),
                     [thread](const Worker& worker) { return worker.thread.get_id() == thread; });
}

void WorkerPool::close() noexcept {
  if (process_.isAnother()) return;
  dropTimers();
  Lock lock(mutex_);
  orphaned_ = isWorker(std::this_thread::get_id());
  plan_.close();
  while (!resting_.empty()) callWorker();
  ended_ = busy_.empty();
  clockChanged_.notify_one();
  std::thread clock = std::move(clock_);
  const bool waits = !orphaned_;
  lock.unlock();
  if (!waits) {
    clock.detach();
  } else if (clock.joinable()) {
    clock.join();
    if (lastToLeave_.joinable()) lastToLeave_.join();
  }
}

// Time

void Timer::cancel() noexcept {
  if (!drop()) return;
  if (const auto pool = pool_.lock()) pool->forget(*this);
}

bool Timer::drop() noexcept {
  if (claimed_.exchange(true)) return false;
  block_ = Block();
  return true;
}

void Timer::run() {
  if (claimed_.exchange(true)) return;
  const Block block = std::move(block_);
  block();
}

void WorkerPool::keepTime() noexcept {
  pthread_setname_np(pthread_self(), "corvane-clock");
  Lock lock(mutex_);
  while (!ended_) {
    fireTimers();
    auto next = nextLook_.value_or(Timer::Time::max());
    if (!timers_.empty()) next = std::min(next, timers_.begin()->first.first);
    if (nextLook_ && *nextLook_ <= Clock::now())
      look(lock);
    else if (next == Timer::Time::max())
      clockChanged_.wait(lock);
    else
      clockChanged_.wait_until(lock, next);
  }
}

void WorkerPool::fireTimers() noexcept {
  while (!timers_.empty() && timers_.begin()->first.first <= Clock::now()) {
    const auto fired = timers_.begin();
    ready_.splice(ready_.end(), fired->second);
    timers_.erase(fired);
    act(plan_.posted());
  }
}

void WorkerPool::dropTimers() noexcept {
  Timers dropped;
  {
    const Lock lock(mutex_);
    dropped.swap(timers_);
  }
  for (const auto& [key, blocks] : dropped) key.second->drop();
}

void WorkerPool::look(Lock& lock) noexcept {
  nextLook_.reset();
  auto actions = plan_.lookIsDue();
  if (actions.countAbleToWork) actions = plan_.counted(countAbleToWork(lock));
  act(actions);
}

/// How many workers compute or wait for a core. The kernel is asked without the lock.
int WorkerPool::countAbleToWork(Lock& lock) noexcept {
  std::vector<pid_t> ids;
  try {
    ids.reserve(busy_.size());
  } catch (const std::exception&) {
    return cores();  // no memory, so no worker either
  }
  for (const Worker& worker : busy_) ids.push_back(worker.id);
  lock.unlock();
  const auto able =
      std::count_if(ids.begin(), ids.end(), [](pid_t id) { return id == 0 || isRunnable(id); });
  lock.lock();
  return static_cast<int>(able);
}

}  // namespace corvane
