#include "EndOfBlock.hpp"
#include "SideJob.hpp"
#include "asio/AsioQueues.hpp"
#include "support/Threads.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace corvane {
namespace {

using namespace std::chrono_literals;
using test::eventually;
using test::firstWorkers;

constexpr std::chrono::seconds generously{60};

/// A job that does what a test wants, and tells what happens to it.
class Job final : public SideJob {
 public:
  using Work = std::function<Block(const std::atomic<bool>& wanted)>;

  explicit Job(Work work = [](const std::atomic<bool>&) { return Block(); }) : work_(std::move(work)) {}

  Block work(const std::atomic<bool>& wanted) noexcept override {
    begun_.set_value(std::this_thread::get_id());
    return work_(wanted);
  }
  void callBack() noexcept override { calledBack_.set_value(); }
  void decline() noexcept override { declined_.set_value(std::this_thread::get_id()); }

  /// Each for one call.
  std::thread::id worker() { return begun_.get_future().get(); }
  std::thread::id decliner() { return declined_.get_future().get(); }
  void waitForCall() { EXPECT_EQ(calledBack_.get_future().wait_for(generously), std::future_status::ready); }

 private:
  Work work_;
  std::promise<std::thread::id> begun_;
  std::promise<std::thread::id> declined_;
  std::promise<void> calledBack_;
};

/// A job that nothing but a call ends.
std::shared_ptr<Job> patientJob(std::function<Block()> brought = [] { return Block(); }) {
  const auto self = std::make_shared<std::weak_ptr<Job>>();
  auto job = std::make_shared<Job>([self, brought = std::move(brought)](const std::atomic<bool>& wanted) {
    self->lock()->waitForCall();
    EXPECT_TRUE(wanted);
    return brought();
  });
  *self = job;
  return job;
}

/// Queues whose workers are all blocked but one.
class CrowdedQueues {
 public:
  CrowdedQueues() {
    QueueTuning tuning;
    tuning.mostWorkers = firstWorkers();
    queues_ = makeLinuxQueues(tuning);
    for (int i = 1; i < firstWorkers(); ++i)
      post([this] {
        busy_.arrive_and_wait();
        opened_.wait();
      });
    busy_.arrive_and_wait();
  }
  ~CrowdedQueues() {
    opening_.set_value();
    queues_ = {};
  }
  CrowdedQueues(const CrowdedQueues&) = delete;
  CrowdedQueues& operator=(const CrowdedQueues&) = delete;

  void post(Block block) { queues_.userInitiated->async(std::move(block)); }

 private:
  LinuxQueues queues_;
  std::latch busy_{firstWorkers()};
  std::promise<void> opening_;
  std::shared_future<void> opened_ = opening_.get_future().share();
};

TEST(SideJob, IsDoneAfterItsBlockByTheSameWorker) {
  LinuxQueues queues = makeLinuxQueues();
  bool blockIsOver = false;
  const auto job = std::make_shared<Job>([&](const std::atomic<bool>&) {
    EXPECT_TRUE(blockIsOver);
    return Block();
  });
  std::promise<std::thread::id> worker;
  queues.userInitiated->async([&, end = std::shared_ptr<void>(nullptr, [&](void*) { blockIsOver = true; })] {
    EXPECT_TRUE(SideJob::leave(job));
    worker.set_value(std::this_thread::get_id());
  });
  EXPECT_EQ(job->worker(), worker.get_future().get());
  queues = {};
}

TEST(SideJob, IsLetGoOnceItIsDone) {
  LinuxQueues queues = makeLinuxQueues();
  auto job = std::make_shared<Job>();
  const std::weak_ptr<Job> watched = job;
  queues.userInitiated->async([job = std::move(job)]() mutable { SideJob::leave(std::move(job)); });
  EXPECT_TRUE(eventually([&] { return watched.expired(); }));
  queues = {};
}

TEST(SideJob, HasTheBlockThatItBringsRunByTheSameWorkerBeforeWhatHasWaited) {
  std::vector<std::string> order;  // of the one worker that is left
  std::promise<std::thread::id> worker;
  std::promise<void> waitingRan;
  CrowdedQueues queues;
  const auto job = patientJob([&] {
    return Block([&] {
      order.emplace_back("brought");
      worker.set_value(std::this_thread::get_id());
    });
  });
  queues.post([&] { SideJob::leave(job); });
  const auto jobsWorker = job->worker();
  queues.post([&] {
    order.emplace_back("waiting");
    waitingRan.set_value();
  });
  waitingRan.get_future().wait();
  EXPECT_EQ(worker.get_future().get(), jobsWorker);
  EXPECT_EQ(order, (std::vector<std::string>{"brought", "waiting"}));
}

TEST(SideJob, MayBeLeftByTheBlockThatAJobBrought) {
  LinuxQueues queues = makeLinuxQueues();
  const auto second = std::make_shared<Job>();
  const auto first = std::make_shared<Job>(
      [&](const std::atomic<bool>&) { return Block([&] { EXPECT_TRUE(SideJob::leave(second)); }); });
  queues.userInitiated->async([&] { SideJob::leave(first); });
  EXPECT_EQ(second->worker(), first->worker());
  queues = {};
}

TEST(SideJob, IsCalledBackWhenABlockWaitsAndAllWorkersAreBusy) {
  std::promise<void> ran;
  CrowdedQueues queues;
  const auto job = patientJob();
  queues.post([&] { SideJob::leave(job); });
  job->worker();
  queues.post([&] { ran.set_value(); });
  EXPECT_EQ(ran.get_future().wait_for(generously), std::future_status::ready);
}

TEST(SideJob, IsCalledBackWhenTheLastIdleWorkerTakesOneOfTwoBlocks) {
  LinuxQueues queues = makeLinuxQueues();
  std::latch together(firstWorkers());
  const auto job = patientJob();
  queues.userInitiated->async([&] { SideJob::leave(job); });
  job->worker();
  for (int i = 0; i < firstWorkers(); ++i) queues.userInitiated->async([&] { together.arrive_and_wait(); });
  together.wait();
  queues = {};
}

TEST(SideJob, IsDeclinedWhenABlockWaitsAlreadyAndAllWorkersAreBusy) {
  std::promise<void> posted;
  std::promise<void> ran;
  std::promise<std::thread::id> worker;
  const auto job = std::make_shared<Job>();
  CrowdedQueues queues;
  queues.post([&] {
    posted.get_future().wait();  // or the pool might not have counted the two in their order
    queues.post([&] { ran.set_value(); });
    EXPECT_TRUE(SideJob::leave(job));
    worker.set_value(std::this_thread::get_id());
  });
  posted.set_value();
  EXPECT_EQ(job->decliner(), worker.get_future().get());
  ran.get_future().wait();
}

TEST(SideJob, IsDeclinedWhileAnotherWorkerDoesOne) {
  LinuxQueues queues = makeLinuxQueues();
  std::promise<void> over;
  const auto first = std::make_shared<Job>([&](const std::atomic<bool>&) {
    over.get_future().wait();
    return Block();
  });
  const auto second = std::make_shared<Job>();
  queues.userInitiated->async([&] { SideJob::leave(first); });
  const auto busy = first->worker();
  queues.userInitiated->async([&] { EXPECT_TRUE(SideJob::leave(second)); });
  EXPECT_NE(second->decliner(), busy);
  over.set_value();
  queues = {};
}

TEST(SideJob, IsDeclinedWhenItsBlockLeavesANextBlockToo) {
  LinuxQueues queues = makeLinuxQueues();
  const auto job = std::make_shared<Job>();
  std::promise<void> nextRan;
  queues.userInitiated->async([&] {
    EXPECT_TRUE(SideJob::leave(job));
    const EndOfBlock end;
    queues.userInitiated->async([&] { nextRan.set_value(); });
  });
  job->decliner();
  EXPECT_EQ(nextRan.get_future().wait_for(generously), std::future_status::ready);
  queues = {};
}

TEST(SideJob, IsCalledBackWhenTheQueuesGo) {
  LinuxQueues queues = makeLinuxQueues();
  const auto job = patientJob();
  queues.userInitiated->async([&] { SideJob::leave(job); });
  job->worker();
  queues = {};
}

TEST(SideJob, IsDeclinedOnceTheQueuesAreGone) {
  auto queues = std::make_shared<LinuxQueues>(makeLinuxQueues());
  const auto job = std::make_shared<Job>();
  std::promise<void> isLast;
  auto* const pool = queues->userInitiated.get();
  pool->async([&, queues, last = isLast.get_future().share()]() mutable {
    last.wait();
    queues.reset();
    EXPECT_TRUE(SideJob::leave(job));
  });
  queues.reset();
  isLast.set_value();
  job->decliner();
  EXPECT_TRUE(eventually([] { return test::threadsNamed({"corvane-worker", "corvane-clock"}) == 0; }));
}

TEST(SideJob, IsNotTakenOnAThreadThatIsNoWorker) {
  EXPECT_FALSE(SideJob::leave(std::make_shared<Job>()));
}

TEST(SideJob, IsNotTakenBesideAnotherOfTheSameBlock) {
  LinuxQueues queues = makeLinuxQueues();
  const auto first = std::make_shared<Job>();
  std::promise<bool> isTaken;
  queues.userInitiated->async([&] {
    EXPECT_TRUE(SideJob::leave(first));
    isTaken.set_value(SideJob::leave(std::make_shared<Job>()));
  });
  EXPECT_FALSE(isTaken.get_future().get());
  first->worker();
  queues = {};
}

TEST(SideJob, IsNotTakenByAJob) {
  LinuxQueues queues = makeLinuxQueues();
  std::promise<bool> isTaken;
  const auto job = std::make_shared<Job>([&](const std::atomic<bool>&) {
    isTaken.set_value(SideJob::leave(std::make_shared<Job>()));
    return Block();
  });
  queues.userInitiated->async([&] { SideJob::leave(job); });
  EXPECT_FALSE(isTaken.get_future().get());
  queues = {};
}

}  // namespace
}  // namespace corvane
