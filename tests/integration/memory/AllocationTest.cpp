// Memory that runs out anywhere between the arrival of an answer and its delivery to the host: each allocation of the
// network thread, of the workers and of the clock fails in turn, and each time the host is told once, nothing leaks, and
// the same objects serve the next request.
#include "flows/FlowFixture.hpp"
#include "support/AllocationOperators.hpp"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>

namespace {

std::atomic<int> untilFailure{-1};
std::atomic<bool> failed{false};
std::atomic<long> blocks{0};

bool isOurThread() {
  thread_local bool known = false;
  if (known) return true;
  char name[16] = {};
  pthread_getname_np(pthread_self(), name, sizeof name);
  const std::string_view text(name);
  return known = text == "corvane-http" || text == "corvane-worker" || text == "corvane-clock";
}

bool fails() {
  if (untilFailure < 0 || !isOurThread()) return false;
  const int left = untilFailure.fetch_sub(1);
  if (left == 0) failed = true;
  return left == 0;
}

}  // namespace

void* corvane::test::allocate(std::size_t size) noexcept {
  if (fails()) return nullptr;
  void* const block = std::malloc(size ? size : 1);
  if (block) ++blocks;
  return block;
}

void corvane::test::release(void* memory) noexcept {
  if (memory) --blocks;
  std::free(memory);
}

namespace corvane::test {
namespace {

using emulator::Fault;
using emulator::Gate;

void disarm() {
  untilFailure = -1;
}

/// Makes every message and keeps none.
class ForgetfulLog final : public Lumark {
 public:
  void logError(const LogCategory&, const Message& message, int, bool, std::string_view) override {
    message();
  }
  void logWarning(const LogCategory&, const Message& message, int, bool, std::string_view) override {
    message();
  }
  void logExtended(const LogCategory&, const Message& message, int, bool, std::string_view) override {
    message();
  }
};

/// Memory comes back before a further attempt: the answer to the first one has been dealt with.
class RecoveringQueue final : public Queue {
 public:
  explicit RecoveringQueue(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}
  void async(Block block) override {
    queue_->async([block = std::move(block), running = std::make_shared<Running>(running_)] { block(); });
  }
  /// Blocks that have not ended.
  int running() const { return *running_; }
  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds, Block block) override {
    // Above zero, so that it takes the clock.
    return queue_->asyncAfter(std::chrono::microseconds(1), [block = std::move(block)] {
      disarm();
      block();
    });
  }

 private:
  struct Running {
    explicit Running(std::shared_ptr<std::atomic<int>> count) : count_(std::move(count)) { ++*count_; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() { --*count_; }

   private:
    std::shared_ptr<std::atomic<int>> count_;
  };

  std::shared_ptr<Queue> queue_;
  std::shared_ptr<std::atomic<int>> running_ = std::make_shared<std::atomic<int>>(0);
};

struct Arrival {
  std::string name;
  std::string operation;
  Fault fault;
  bool succeeds;  // with enough memory
};

std::vector<Arrival> arrivals() {
  return {
      {"Page", "files.list", {}, true},
      {"About", "about", {}, true},
      {"Deletion", "files.delete", Fault::empty(204), true},
      {"Trashing", "files.update", Fault::content(R"({"id":"file-1","trashed":true})", "application/json"),
       true},
      {"RefusedDeletion", "files.delete",
       Fault::error(403, "insufficientFilePermissions", "It is not yours."), false},
      {"BusyThenPage", "files.list", Fault::error(503, "backendError", "Busy."), true},
      {"NoPermission", "files.list", Fault::error(404, "notFound", "There is no such thing anywhere."),
       false},
      {"SignInPage", "about", Fault::content("<html>"), false},
      {"DamagedPage", "files.list",
       [] {
         Fault fault;
         fault.corruptGzip = true;
         return fault;
       }(),
       false},
  };
}

class OutOfMemoryOver : public FlowTest, public testing::WithParamInterface<Arrival> {
 protected:
  OutOfMemoryOver() {
    auto platform = makePlatform("grace@example.com");
    platform.log = std::make_shared<ForgetfulLog>();
    queue = std::make_shared<RecoveringQueue>(platform.taskPool);
    platform.userInitiatedQueue = queue;
    CorvaneFactory factory(
        dataFromText(R"({"client_id": "corvane-demo-client", "clientSecret": "corvane-demo-secret"})"),
        "flows", "", [] { return WindowHandle::terminal(); }, std::move(platform));
    drive = factory.makeAPI(signIn(factory));
    log->switchOff();
  }

  struct Told {
    std::atomic<int> values{0};
    std::atomic<int> completions{0};
    std::promise<bool> finished;
    bool reached = false;
  };

  template <class Value>
  void ask(const AnyPublisher<Value>& publisher, Told& told, int allocations) {
    const auto gate = std::make_shared<Gate>();
    Fault fault = GetParam().fault;
    fault.gate = gate;
    google.faults().add(GetParam().operation, std::move(fault));
    const auto subscription = publisher.sink(
        [&](const Completion<AnyError>& completion) {
          disarm();
          if (++told.completions == 1) told.finished.set_value(completion.isFinished());
        },
        [&](const Value&) { ++told.values; });
    ASSERT_TRUE(gate->waitUntilReached());
    ASSERT_TRUE(comesTrue([&] { return queue->running() == 0; })) << "the block that sent the request";
    failed = false;
    untilFailure = allocations;
    gate->open();
    told.finished.get_future().wait();
    disarm();
    told.reached = failed;
    google.journal().clear();
    google.faults().releaseHeld();  // or it remembers each gate
  }

  void ask(Told& told, int allocations) {
    const auto& operation = GetParam().operation;
    if (operation == "about") return ask(drive->getAbout(), told, allocations);
    if (operation == "files.delete") return ask(drive->deleteFile("file-1"), told, allocations);
    if (operation == "files.update") return ask(drive->moveToTrash("file-1"), told, allocations);
    ask(drive->getFilesPage(std::nullopt), told, allocations);
  }

  /// As often, with memory enough.
  void repeat(int rounds) {
    constexpr int never = -1;
    for (int round = 0; round < rounds; ++round) {
      Told told;
      ask(told, never);
    }
  }

  /// With one more allocation that succeeds in each round, until there is memory enough.
  int exhaust() {
    constexpr int enough = 3'000;
    int failures = 0;
    int values = 0;
    int round = 0;
    for (bool reached = true; reached && round < enough; ++round) {
      Told told;
      ask(told, round);
      EXPECT_EQ(told.completions, 1) << "with " << round << " allocations";
      values = told.values;
      if (values == 0) ++failures;
      reached = told.reached;
    }
    EXPECT_LT(round, enough);
    EXPECT_EQ(values, GetParam().succeeds ? 1 : 0) << "with memory enough";
    EXPECT_GT(failures, 3);
    return round;
  }

  template <class Condition>
  static bool comesTrue(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    return condition();
  }

  void expectUsable() {
    EXPECT_EQ(everyFile(*drive).size(), 7u);
    EXPECT_EQ(get(drive->getAbout()).user.emailAddress, "grace@example.com");
  }

  std::shared_ptr<RecoveringQueue> queue;
  std::shared_ptr<GoogleDriveAPIType> drive;
};

TEST_P(OutOfMemoryOver, AnArrivingAnswerTellsTheHostOnceAndLosesNothing) {
  const int rounds = exhaust();  // makes all that is made once
  const long before = blocks;
  repeat(rounds);
  const long idle = std::max(0L, blocks - before);
  const long beforeFailing = blocks;
  exhaust();
  // Other threads may still be dropping the last answer.
  constexpr long few = 10;
  EXPECT_TRUE(comesTrue([&] { return blocks - beforeFailing <= idle + few; }))
      << blocks - beforeFailing << " blocks in " << rounds << " rounds, " << idle << " when idle";
  expectUsable();
}

INSTANTIATE_TEST_SUITE_P(, OutOfMemoryOver, testing::ValuesIn(arrivals()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace corvane::test
