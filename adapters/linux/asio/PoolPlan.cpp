#include "asio/PoolPlan.hpp"

#include <algorithm>
#include <utility>

namespace corvane {
namespace {

using namespace std::chrono_literals;

constexpr auto untilNextOfTheFirst = 1ms;
constexpr auto shortestPause = 1ms;
constexpr int longestPauseInPatiences = 16;
constexpr int looksBeforeAdding =
    2;  // a worker that waits for another's lock is blocked too, but not for long
constexpr int workersPerAddition = 4;

}  // namespace

PoolPlan::PoolPlan(QueueTuning tuning, int cores)
    : tuning_(tuning), first_(std::min(cores, tuning.mostWorkers)) {}

void PoolPlan::started() {
  workers_ = idle_ = 1;
}

PoolPlan::Actions PoolPlan::posted() {
  ++waiting_;
  Actions actions;
  if (!isStarved()) {
    actions.callWorker = true;
  } else if (!std::exchange(looking_, true)) {
    somethingEnded_ = false;
    looksAtBlocked_ = 0;
    pause_ = tuning_.patience;
    actions.lookAfter = untilNextOfTheFirst;
  }
  return actions;
}

PoolPlan::Next PoolPlan::blockEnded() {
  somethingEnded_ = true;
  return next();
}

PoolPlan::Next PoolPlan::workerArrived() {
  --idle_;
  return next();
}

PoolPlan::Next PoolPlan::workerIdledLong() {
  --idle_;
  if (waiting_ > 0 || workers_ == 1) return next();
  --workers_;
  return Next::leave;
}

PoolPlan::Next PoolPlan::next() {
  if (waiting_ > 0) {
    --waiting_;
    return Next::run;
  }
  if (closing_) {
    --workers_;
    return Next::leave;
  }
  ++idle_;
  return Next::rest;
}

PoolPlan::Actions PoolPlan::lookIsDue() {
  const bool somethingEnded = std::exchange(somethingEnded_, false);
  if (!isStarved()) {
    looking_ = false;
    return {};
  }
  if (workers_ < first_) return add(1, untilNextOfTheFirst);
  if (somethingEnded) {
    looksAtBlocked_ = 0;
    return lookAfter(pause_ = tuning_.patience);
  }
  if (workers_ >= tuning_.mostWorkers) return backOff();
  Actions actions;
  actions.countAbleToWork = true;
  return actions;
}

// A worker that is kept from a core looks, by the blocks that end, like one that waits for a
// person. More workers would only slow it down.
PoolPlan::Actions PoolPlan::counted(int ableToWork) {
  if (ableToWork >= first_) {
    looksAtBlocked_ = 0;
    return backOff();
  }
  if (++looksAtBlocked_ < looksBeforeAdding) return lookAfter(pause_ = tuning_.patience);
  if (!isStarved()) return lookAfter(pause_);
  const int wanted = std::max(1, workers_ / workersPerAddition);
  pause_ = std::max<Delay>(pause_ / 2, shortestPause);
  return add(std::min({wanted, waiting_ - idle_, tuning_.mostWorkers - workers_}), pause_);
}

PoolPlan::Actions PoolPlan::notAdded(int workers) {
  workers_ -= workers;
  idle_ -= workers;
  return backOff();
}

PoolPlan::Actions PoolPlan::lookAfter(Delay delay) {
  Actions actions;
  actions.lookAfter = delay;
  return actions;
}

PoolPlan::Actions PoolPlan::add(int workers, Delay nextLook) {
  workers_ += workers;
  idle_ += workers;
  Actions actions;
  actions.addWorkers = workers;
  actions.lookAfter = nextLook;
  return actions;
}

PoolPlan::Actions PoolPlan::backOff() {
  const Delay longest = tuning_.patience * longestPauseInPatiences;
  return lookAfter(pause_ = std::clamp<Delay>(pause_ * 2, tuning_.patience,
                                              std::max(longest, tuning_.patience)));
}

}  // namespace corvane
