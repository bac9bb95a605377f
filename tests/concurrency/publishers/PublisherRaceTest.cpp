#include <Corvane/CancellableSlot.hpp>
#include <Corvane/Get.hpp>
#include <CorvanePlatform/Retry.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "Publishers/Future.hpp"
#include "Publishers/SubscribeOn.hpp"
#include "support/Race.hpp"
#include "support/TestPublisher.hpp"
#include "support/ThreadQueue.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

constexpr int rounds = 10'000;

/// Counts what a subscription was told.
struct Told {
  std::atomic<int> values{0};
  std::atomic<int> completions{0};

  AnyCancellable subscribe(const AnyPublisher<int>& publisher) {
    return publisher.sink([this](const auto&) { ++completions; }, [this](int) { ++values; });
  }
};

struct CountingReceiver final : Receiver<int, AnyError> {
  void receive(int) override {}
  void complete(Completion<AnyError>) override { ++completions; }
  std::atomic<int> completions{0};
};

struct Counter final : Cancellable {
  void cancel() noexcept override { ++cancellations; }
  std::atomic<int> cancellations{0};
};

}  // namespace

TEST(PublisherRace, CompletionAgainstCancelTellsAllOrTheValueOrNothing) {
  Race race;
  const int most = raceRounds(100'000);
  for (int round = 0; round < most; ++round) {
    const TestPublisher<int> source;
    Told told;
    const auto subscription = told.subscribe(source.publisher());
    race.run([&] { subscription.cancel(); }, [&] { source.succeed(1); });
    // A value whose completion was cancelled away is fine, a completion without its value is not.
    ASSERT_LE(told.completions, told.values);
    ASSERT_LE(told.values, 1);
  }
}

TEST(PublisherRace, CancelAgainstCancelCancelsTheWorkOnce) {
  Race race;
  for (int round = 0; round < rounds; ++round) {
    const TestPublisher<int> source;
    Told told;
    const auto subscription = told.subscribe(source.publisher());
    race.run([&] { subscription.cancel(); }, [&] { subscription.cancel(); });
    ASSERT_EQ(source.cancellations(), 1);
    ASSERT_EQ(told.completions, 0);
  }
}

TEST(PublisherRace, TheLastCopyDroppedAgainstCancelNeverHangsNorTellsTwice) {
  Race race;
  for (int round = 0; round < rounds; ++round) {
    const TestPublisher<int> source;
    Told told;
    const auto subscription = told.subscribe(source.publisher());
    race.run([&] { subscription.cancel(); }, [&] { source.letGo(); });
    ASSERT_LE(told.completions, 1);
    ASSERT_EQ(told.values, 0);
  }
}

TEST(PublisherRace, ASlotCancelledWhileItIsFilledCancelsTheContentOnce) {
  Race race;
  for (int round = 0; round < rounds; ++round) {
    CancellableSlot slot;
    const auto content = std::make_shared<Counter>();
    race.run([&] { slot.cancel(); }, [&] { slot.set(content); });
    ASSERT_EQ(content->cancellations, 1);
    ASSERT_EQ(content.use_count(), 1);
  }
}

TEST(PublisherRace, ASlotClosedWhileItIsFilledLetsGoOfTheContent) {
  Race race;
  for (int round = 0; round < rounds; ++round) {
    CancellableSlot slot;
    const auto content = std::make_shared<Counter>();
    race.run([&] { slot.close(); }, [&] { slot.set(content); });
    ASSERT_EQ(content->cancellations, 0);
    ASSERT_EQ(content.use_count(), 1);
  }
}

TEST(PublisherRace, SubscribingToAFutureWhileItIsFulfilledIsServedOnce) {
  Race race;
  for (int round = 0; round < rounds; ++round) {
    std::optional<Promise<int, AnyError>> promise;
    const auto publisher =
        future<int, AnyError>(AnyError(NSError("D", 1)), [&promise](const auto& p) { promise.emplace(p); });
    Told told;
    AnyCancellable subscription;
    race.run([&] { subscription = told.subscribe(publisher); },
             [&] { promise->fulfil(Result<int, AnyError>::success(1)); });
    ASSERT_EQ(told.values, 1);
    ASSERT_EQ(told.completions, 1);
  }
}

TEST(PublisherRace, FulfillingAFutureTwiceAtOnceCountsOnce) {
  Race race;
  for (int round = 0; round < rounds; ++round) {
    std::optional<Promise<int, AnyError>> promise;
    const auto publisher =
        future<int, AnyError>(AnyError(NSError("D", 1)), [&promise](const auto& p) { promise.emplace(p); });
    Told told;
    const auto subscription = told.subscribe(publisher);
    race.run([&] { promise->fulfil(Result<int, AnyError>::success(1)); },
             [&] { promise->fulfil(Result<int, AnyError>::success(2)); });
    ASSERT_EQ(told.values, 1);
    ASSERT_EQ(told.completions, 1);
  }
}

TEST(PublisherRace, RetriesOnRealThreadsAgainstCancelEndOnceOrFallSilent) {
  // Subscribed without a sink, which would hide a second completion.
  std::vector<std::shared_ptr<CountingReceiver>> receivers;
  {
    ThreadQueue queue;
    for (int round = 0; round < rounds; ++round) {
      const auto failing = subscribeOn(AnyPublisher<int>::failing(NSError("D", 1)), queue.handle());
      const auto retried = retry(failing, DelayedRetryBehavior::exponentialDelayed(4, 1, 1, 8),
                                 queue.handle(), [](const AnyError&) { return true; });
      receivers.push_back(std::make_shared<CountingReceiver>());
      const auto subscription = retried.subscribe(receivers.back());
      if (round % 2 == 0) std::this_thread::yield();
      if (round % 8 != 0) subscription->cancel();
    }
  }
  for (int round = 0; round < rounds; ++round) {
    const int completions = receivers[static_cast<std::size_t>(round)]->completions;
    ASSERT_LE(completions, 1) << "round " << round;
    ASSERT_TRUE(completions == 1 || round % 8 != 0) << "round " << round << " was not cancelled";
  }
}

TEST(PublisherRace, RetriesOnRealThreadsAllReachTheirEnd) {
  ThreadQueue queue;
  std::vector<std::future<Result<int, AnyError>>> ends;
  for (int round = 0; round < 1'000; ++round) {
    const auto failing = subscribeOn(AnyPublisher<int>::failing(NSError("D", 1)), queue.handle());
    ends.push_back(toFuture(retry(failing, DelayedRetryBehavior::exponentialDelayed(4, 1, 1, 8),
                                  queue.handle(), [](const AnyError&) { return true; })));
  }
  for (auto& end : ends) EXPECT_EQ(end.get().error().code(), 1);
}
