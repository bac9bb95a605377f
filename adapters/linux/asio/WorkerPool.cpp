// How two workers serve a program whose blocks may block.
//
// Problem: blocks parse a megabyte, and they also wait for a person who is asked to unlock a keychain. As many threads
// as blocks would waste memory for the first kind; as many as cores would let the second kind stop everything.
//
// Idea: a few workers run the library's scheduler. One of those that are idle waits for the next post, the others are in
// reserve: whoever is told of a result posts the next request while the worker that told is about to end its block,
// and to wake another one for it costs more than all else that the pool does. A post or a start that leaves work
// waiting and nobody to wait for it wakes the supervisor, a timer on the clock's thread. If it finds the same a
// millisecond later, it calls a worker from the reserve. When there is none, no block ends while it looks on, and the
// kernel says that fewer workers than the first ones compute or wait for a core, it adds one worker and looks again,
// sooner each time, until something moves. Surplus workers leave after some seconds in reserve. The clock has a thread
// and a scheduler of its own: timers fire while all workers are blocked, and the workers' scheduler needs no epoll,
// which makes a hop cheaper.
//
// Cost: three atomic counters per block and a mostly sleeping thread. A block that finds one worker busy and the others
// in reserve may wait a millisecond. Blocks wait for long computations that fill all workers, also for one that only
// spins until another block has run. An idle pool sleeps altogether.
//
// Threads leave in a chain: each leaving worker keeps its own handle in `lastToLeave_` and joins the one it found
// there, so that at most one handle waits to be joined. The last worker stops the clock.
#include "asio/WorkerPool.hpp"

#include "EndOfBlock.hpp"
#include "SignalsBlocked.hpp"
#include "asio/ThreadState.hpp"

#include <boost/asio/post.hpp>

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

namespace corvane {
namespace {

using namespace std::chrono_literals;

constexpr auto leastPatience = 2ms;
constexpr auto untilReserveIsCalled = 1ms;
constexpr int looksAtBlocked = 2;
constexpr int looksWhileOneCanWork = 10;
constexpr auto untilMemoryIsBack = 20ms;
constexpr auto longestDelay = std::chrono::hours(24 * 365 * 100);  // keeps "now plus delay" within the clock

int coreWorkers() {
  return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 2U, 4U));
}

thread_local const WorkerPool* poolOfThisThread = nullptr;
// Where the block that runs here leaves what it posts as its last act. Not the block itself: a thread would need memory
// to destroy it at its end.
thread_local Block* blockAtEnd = nullptr;
thread_local bool isTheOneThatWaits = false;

}  // namespace

WorkerPool::WorkerPool(QueueTuning tuning)
    : tuning_(tuning),
      workGuard_(workContext_.get_executor()),
      clockGuard_(clockContext_.get_executor()),
      supervisor_(clockContext_) {}

// Posting

void WorkerPool::post(Block block) {
  ensureStarted();
  enqueue(std::move(block));
}

// A post wakes a sleeping worker, in vain when the poster's own block ends first; what a block posts at its end is
// therefore run by the same worker, and at once: behind others that wait, what it holds would pile up, a parsed page for
// each answer that has arrived.
void WorkerPool::enqueue(Block block) {
  if (EndOfBlock::take() && blockAtEnd && !*blockAtEnd && poolOfThisThread == this) {
    *blockAtEnd = std::move(block);
    waiting_.fetch_add(1);
    return;
  }
  boost::asio::post(workContext_, Work{this, std::move(block)});
  waiting_.fetch_add(1);  // not before: a post that fails must not count for ever
  watchIfStarved();
}

void WorkerPool::run(Block block) noexcept {
  Block next;
  std::shared_ptr<SideJob> job;
  while (block) {
    waiting_.fetch_sub(1);
    if (std::exchange(isTheOneThatWaits, false)) isAwaited_.store(false);
    watchIfStarved();
    blockAtEnd = &next;
    SideJob::tray() = &job;
    block();
    block = Block();
    SideJob::tray() = nullptr;
    blockAtEnd = nullptr;
    if (job && next)
      std::exchange(job, nullptr)->decline();
    else if (job)
      next = doJob(std::exchange(job, nullptr));
    finished_.fetch_add(1);
    block = std::exchange(next, Block());
  }
}

// Side jobs

// The worker does not wait for posts meanwhile. Of a post that nobody waits for, or the pool's end, and a job that is
// about to begin, at least one sees the other: each makes itself known before it looks.
Block WorkerPool::doJob(std::shared_ptr<SideJob> job) noexcept {
  bool isTheOnly = false;
  {
    const std::lock_guard lock(jobMutex_);
    isTheOnly = !job_;
    if (isTheOnly) {
      job_ = job;
      jobIsOver_.store(false);
    }
  }
  if (!isTheOnly) {
    job->decline();
    return {};
  }
  Block next;
  if (isStarved() || closing_)
    job->decline();
  else
    next = job->work(jobIsOver_);
  if (next) waiting_.fetch_add(1);
  const std::lock_guard lock(jobMutex_);
  job_ = nullptr;
  return next;
}

void WorkerPool::callBackJob() noexcept {
  const std::lock_guard lock(jobMutex_);
  if (job_ && !jobIsOver_.exchange(true)) job_->callBack();
}

// Timers

std::shared_ptr<Cancellable> WorkerPool::postAfter(std::chrono::microseconds delay, Block block) {
  ensureStarted();
  auto timer = std::make_shared<Timer>(weak_from_this(), std::move(block));
  if (delay <= 0us) {
    enqueue([timer] { timer->run(); });
    return timer;
  }
  const auto due =
      std::chrono::steady_clock::now() + std::min<std::chrono::microseconds>(delay, longestDelay);
  const auto waiting = std::make_shared<boost::asio::steady_timer>(clockContext_, due);
  timer->waiting = waiting;
  {
    const std::lock_guard lock(timersMutex_);
    timers_.insert(timer);
  }
  try {
    await(timer, waiting);  // here: the clock's thread would have nobody to tell that there is no memory
  } catch (...) {
    drop(timer);
    throw;
  }
  return timer;
}

void WorkerPool::await(const std::shared_ptr<Timer>& timer,
                       const std::shared_ptr<boost::asio::steady_timer>& waiting) {
  waiting->async_wait([this, timer, waiting](boost::system::error_code) { fire(timer, waiting); });
}

void WorkerPool::fire(const std::shared_ptr<Timer>& timer,
                      const std::shared_ptr<boost::asio::steady_timer>& waiting) noexcept {
  try {
    if (timer->isPending()) enqueue([timer] { timer->run(); });
    const std::lock_guard lock(timersMutex_);
    timers_.erase(timer);
  } catch (const std::bad_alloc&) {
    fireLater(timer, waiting);
  }
}

// The library keeps the memory of the wait that has just ended for the next one, so that it hardly ever fails.
void WorkerPool::fireLater(const std::shared_ptr<Timer>& timer,
                           const std::shared_ptr<boost::asio::steady_timer>& waiting) noexcept {
  try {
    waiting->expires_after(untilMemoryIsBack);
    await(timer, waiting);
  } catch (const std::bad_alloc&) {
    drop(timer);
  }
}

void WorkerPool::drop(const std::shared_ptr<Timer>& timer) noexcept {
  {
    const std::lock_guard lock(timersMutex_);
    timers_.erase(timer);
  }
  timer->drop();
}

void WorkerPool::forget(std::shared_ptr<Timer> timer) noexcept {
  try {
    {
      const std::lock_guard lock(timersMutex_);
      timers_.erase(timer);
    }
    boost::asio::post(clockContext_, [timer = std::move(timer)] {
      if (const auto waiting = timer->waiting.lock()) waiting->cancel();
    });
  } catch (...) {
    // No memory: the clock runs out in its time and finds no block.
  }
}

void WorkerPool::dropTimers() noexcept {
  std::unordered_set<std::shared_ptr<Timer>> timers;
  {
    const std::lock_guard lock(timersMutex_);
    timers.swap(timers_);
  }
  for (const auto& timer : timers) timer->drop();
}

// Supervision

void WorkerPool::watchIfStarved() noexcept {
  if (!isStarved()) return;
  callBackJob();  // and watch: it may take its time
  if (watched_.load() || watched_.exchange(true)) return;
  try {
    boost::asio::post(clockContext_, [this] {
      expectReserve();
      superviseSoon();
    });
  } catch (const std::bad_alloc&) {
    giveUpWatching();
  }
}

// Whoever finds the pool starved next tries again. That may be nobody for long, so that one worker comes at once.
void WorkerPool::giveUpWatching() noexcept {
  watched_.store(false);
  wakeReserve();
}

void WorkerPool::expectReserve() noexcept {
  expectsReserve_ = true;
  patience_ = untilReserveIsCalled;
}

void WorkerPool::superviseSoon() {
  finishedBefore_ = finished_.load();
  supervisor_.expires_after(patience_);
  try {
    supervisor_.async_wait([this](boost::system::error_code error) {
      if (!error) supervise();
    });
  } catch (const std::bad_alloc&) {
    giveUpWatching();
  }
}

void WorkerPool::supervise() {
  const bool somethingMoved = finished_.load() != finishedBefore_;
  if (!isStarved() && !somethingMoved) {
    watched_.store(false);
    watchIfStarved();  // it may have starved again before anyone could see that nobody watches
    return;
  }
  if (!isStarved() || wakeReserve()) {
    expectReserve();  // while blocks come and go: to look on is cheaper than to be woken
  } else if (std::exchange(expectsReserve_, false) || somethingMoved) {
    looks_ = 0;
    patience_ = tuning_.patience;
  } else if (needsWorker()) {
    looks_ = 0;
    const auto shorter = std::max<std::chrono::milliseconds>(patience_ / 2, leastPatience);
    patience_ = addWorker() ? shorter : tuning_.patience;
  } else if (looks_ == 0) {
    patience_ = tuning_.patience;
  }
  superviseSoon();
}

// A worker that is kept from a core looks, by the blocks that end, like one that waits for a person; more workers would
// only slow it down. While it holds a lock the others wait for it, which passes, so that they are looked at repeatedly.
bool WorkerPool::needsWorker() {
  const std::lock_guard lock(threadsMutex_);
  const auto canWork = std::count_if(threads_.begin(), threads_.end(), [](const auto& each) {
    const pid_t id = each.second.id;
    return id == 0 || stateOfThread(id) == ThreadState::runnable;
  });
  if (canWork >= coreWorkers()) {
    looks_ = 0;
    return false;
  }
  return ++looks_ >= (canWork == 0 ? looksAtBlocked : looksWhileOneCanWork);
}

// Threads

void WorkerPool::ensureStarted() {
  if (!started_.load(std::memory_order_acquire)) start();
}

void WorkerPool::start() {
  const std::lock_guard lock(startMutex_);
  if (started_.load()) return;
  if (!clock_.joinable()) {
    const SignalsBlocked signals;
    clock_ = std::thread([self = shared_from_this()] { self->keepTime(); });
  }
  for (int i = 0; i < coreWorkers(); ++i) addWorker();
  if (workers_.load() == 0)
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again),
                            "no worker thread could be started");
  started_.store(true, std::memory_order_release);
}

bool WorkerPool::addWorker() noexcept {
  const std::lock_guard lock(threadsMutex_);
  if (ended_ || workers_.load() >= tuning_.mostWorkers) return false;
  workers_.fetch_add(1);
  try {
    // Its place comes first: a thread that runs could not be given up any more.
    decltype(threads_) fresh;
    fresh.try_emplace(std::thread::id());
    auto place = fresh.extract(fresh.begin());
    threads_.reserve(threads_.size() + 1);
    const SignalsBlocked signals;
    place.mapped().thread = std::thread([self = shared_from_this()] { self->work(); });
    place.key() = place.mapped().thread.get_id();
    threads_.insert(std::move(place));
    return true;
  } catch (const std::exception&) {  // the system has no thread or memory left; the blocked ones may end
    workers_.fetch_sub(1);
    return false;
  }
}

void WorkerPool::work() noexcept {
  poolOfThisThread = this;
  pthread_setname_np(pthread_self(), "corvane-worker");
  {
    const std::lock_guard lock(threadsMutex_);
    threads_.at(std::this_thread::get_id()).id = ::gettid();
  }
  do {
    workContext_.poll();
  } while (awaitBlock() || rest());
  leave();
}

/// Runs the next block that is posted, if nobody else waits for it.
bool WorkerPool::awaitBlock() noexcept {
  if (isAwaited_.exchange(true)) return false;
  isTheOneThatWaits = true;
  const bool hasRun = workContext_.run_one() > 0;
  if (std::exchange(isTheOneThatWaits, false)) isAwaited_.store(false);
  return hasRun;
}

/// Waits to be called. False if the worker is to leave.
bool WorkerPool::rest() noexcept {
  std::unique_lock lock(reserveMutex_);
  const auto isWanted = [this] { return called_ > 0 || closing_; };
  const auto isSurplus = [this] { return workers_.load() > coreWorkers(); };
  bool leaves = false;
  ++resting_;
  while (!isWanted() && !leaves) {
    if (isSurplus())
      leaves = !forReserve_.wait_for(lock, tuning_.idleBeforeLeaving, isWanted) && isSurplus();
    else
      forReserve_.wait(lock);
  }
  --resting_;
  if (called_ > 0) {
    --called_;
    return true;
  }
  if (leaves) {
    workers_.fetch_sub(1);
    return false;
  }
  lock.unlock();
  workContext_.run();  // what the last blocks of others still post
  return false;
}

/// False if nobody is in reserve.
bool WorkerPool::wakeReserve() noexcept {
  const std::lock_guard lock(reserveMutex_);
  if (called_ == resting_) return false;
  ++called_;
  forReserve_.notify_one();
  return true;
}

void WorkerPool::leave() noexcept {
  std::thread before;
  bool last = false;
  {
    const std::lock_guard lock(threadsMutex_);
    auto own = std::move(threads_.extract(std::this_thread::get_id()).mapped().thread);
    last = threads_.empty();
    ended_ = ended_ || last;
    if (last && orphaned_) own.detach();
    before = std::exchange(lastToLeave_, std::move(own));
  }
  if (before.joinable()) before.join();
  if (last) clockContext_.stop();
}

void WorkerPool::keepTime() noexcept {
  poolOfThisThread = this;
  pthread_setname_np(pthread_self(), "corvane-clock");
  clockContext_.run();
}

void WorkerPool::close() noexcept {
  dropTimers();
  const bool ownThread = poolOfThisThread == this;
  std::thread clock;
  {
    const std::lock_guard lock(threadsMutex_);
    orphaned_ = ownThread;
    clock = std::move(clock_);
    if (threads_.empty()) clockContext_.stop();  // no worker could be started that would stop it
  }
  {
    const std::lock_guard lock(reserveMutex_);
    closing_ = true;
  }
  forReserve_.notify_all();
  callBackJob();
  workGuard_.reset();
  if (ownThread) {
    clock.detach();
  } else if (clock.joinable()) {
    clock.join();
    if (lastToLeave_.joinable()) lastToLeave_.join();
  }
}

}  // namespace corvane
