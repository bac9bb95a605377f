#include <CorvanePlatform/Retry.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "Publishers/Deferred.hpp"
#include "Publishers/Future.hpp"
#include "Publishers/HandleEvents.hpp"
#include "Publishers/MapError.hpp"
#include "Publishers/SubscribeOn.hpp"
#include "support/ErrorMatchers.hpp"
#include "support/ManualQueue.hpp"
#include "support/Recorder.hpp"
#include "support/TestPublisher.hpp"

using namespace corvane;
using namespace corvane::test;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

AnyError errorOfCode(std::int64_t code) {
  return NSError("D", code);
}

class RetryOperatorTest : public testing::Test {
 protected:
  AnyPublisher<int> retried(int count = 4) {
    return retry(source.publisher(), DelayedRetryBehavior::exponentialDelayed(count, 1, 1, 8), queue,
                 [](const AnyError& error) { return error.code() == 503; });
  }

  TestPublisher<int> source;
  std::shared_ptr<ManualQueue> queue = std::make_shared<ManualQueue>();
};

}  // namespace

TEST(Create, RunsItsWorkOnceForEachSubscriberOnTheSubscribingThread) {
  std::vector<std::thread::id> threads;
  const auto publisher = AnyPublisher<int>::create(
      [&threads](const auto& subscriber) {
        threads.push_back(std::this_thread::get_id());
        subscriber.succeed(1);
        return AnyCancellable();
      },
      DropRule<AnyError>{errorOfCode(1), {}});
  EXPECT_THAT(threads, IsEmpty());
  const Recorder first(publisher);
  const Recorder second(publisher);
  EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id(), std::this_thread::get_id()));
}

TEST(Create, OnlyTheFirstValueAndTheFirstCompletionCount) {
  const auto publisher = AnyPublisher<int>::create(
      [](const auto& subscriber) {
        subscriber.send(1);
        subscriber.send(2);
        subscriber.finish();
        subscriber.fail(errorOfCode(1));
        subscriber.send(3);
        return AnyCancellable();
      },
      DropRule<AnyError>{errorOfCode(1), {}});
  const Recorder recorder(publisher);
  EXPECT_THAT(recorder.events(), ElementsAre("value", "finished"));
  EXPECT_EQ(recorder.value(), 1);
}

TEST(Create, WithoutMemoryOrThreadsFailsItsSubscriberAtOnce) {
  const auto throwing = [](auto exception) {
    return AnyPublisher<int>::create(
        [exception](const auto&) -> AnyCancellable { throw exception; },
        DropRule<AnyError>{errorOfCode(1), {}});
  };
  const Recorder memory(throwing(std::bad_alloc()));
  EXPECT_THAT(memory.events(), ElementsAre("failed"));
  EXPECT_EQ(memory.error()->code(), ENOMEM);
  const Recorder thread(throwing(std::system_error(EAGAIN, std::system_category())));
  EXPECT_THAT(thread.events(), ElementsAre("failed"));
  EXPECT_EQ(thread.error()->code(), EAGAIN);
  const Recorder typed(throwing(errorOfCode(7)));
  EXPECT_THAT(typed.events(), ElementsAre("failed"));
  EXPECT_EQ(typed.error()->code(), 7);
}

TEST(Sink, CallsNobodyOnceTheHostsWorkThrew) {
  const auto throwing = AnyPublisher<int>::create(
      [](const auto&) -> AnyCancellable { throw std::logic_error("the host's bug"); },
      DropRule<AnyError>{errorOfCode(1), {}});
  int calls = 0;
  const auto subscribe = [&] { return throwing.sink([&](const auto&) { ++calls; }, [](int) {}); };
  EXPECT_THROW(const auto subscription = subscribe(), std::logic_error);
  EXPECT_EQ(calls, 0);
}

TEST(Sink, CallsNobodyOnceItThrew) {
  const ThrowingPublisher<int> source;
  int calls = 0;
  const auto subscribe = [&] { return source.publisher().sink([&](const auto&) { ++calls; }, [](int) {}); };
  EXPECT_THROW(const auto subscription = subscribe(), std::logic_error);
  source.tellLate();
  EXPECT_EQ(calls, 0);
}

template <class OnCompletion, class OnValue>
concept CanSink = requires(AnyPublisher<int> publisher, OnCompletion onCompletion,
                           OnValue onValue) {
  publisher.sink(onCompletion, onValue);
};
using OnEnd = void (*)(Completion<AnyError>);
using OnInt = void (*)(int);
static_assert(CanSink<OnEnd, OnInt>);
static_assert(!CanSink<OnEnd, std::nullptr_t>);
static_assert(!CanSink<std::nullptr_t, OnInt>);
static_assert(!CanSink<OnInt, OnEnd>, "in this order");

TEST(SubscribeOn, AQueueThatTakesNothingFailsTheSubscriberOnce) {
  struct FullQueue final : Queue {
    void async(Block) override { throw std::system_error(EAGAIN, std::generic_category()); }
    std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds, Block) override {
      throw std::system_error(EAGAIN, std::generic_category());
    }
  };
  const TestPublisher<int> source;
  const auto moved = subscribeOn(source.publisher(), std::make_shared<FullQueue>());
  const Recorder recorder(retry(moved, DelayedRetryBehavior::exponentialDelayed(4, 1, 1, 8),
                                std::make_shared<FullQueue>(),
                                [](const AnyError&) { return true; }));
  EXPECT_THAT(recorder.events(), ElementsAre("failed"));
  EXPECT_EQ(recorder.error()->code(), EAGAIN);
  EXPECT_EQ(source.subscriptions(), 0u);
}

TEST(HandleEvents, ShowsACancelledSubscriptionNothingWhateverItsUpstreamDoes) {
  // An upstream that does not know of cancellation.
  struct Deaf final : Publisher<int, AnyError> {
    std::shared_ptr<Cancellable> subscribe(
        std::shared_ptr<Receiver<int, AnyError>> r) const override {
      receiver = std::move(r);
      return nullptr;
    }
    mutable std::shared_ptr<Receiver<int, AnyError>> receiver;
  };
  const auto deaf = std::make_shared<const Deaf>();
  int observed = 0;
  Recorder recorder(
      handleEvents(AnyPublisher<int>(deaf), [&observed](const auto&) { ++observed; }));
  recorder.cancel();
  deaf->receiver->complete(Completion<AnyError>::finished());
  EXPECT_EQ(observed, 0);
}

TEST(Create, TellsItsWorkThatTheSubscriptionIsCancelled) {
  std::optional<Subscriber<int, AnyError>> open;
  const auto publisher = AnyPublisher<int>::create(
      [&open](const auto& subscriber) {
        open.emplace(subscriber);
        return AnyCancellable();
      },
      DropRule<AnyError>{errorOfCode(1), {}});
  Recorder recorder(publisher);
  EXPECT_FALSE(open->isCancelled());
  recorder.cancel();
  EXPECT_TRUE(open->isCancelled());
}

TEST(Create, ADroppedSubscriberFailsWithTheDropRulesErrorWhereTheRuleSays) {
  std::vector<UniqueFunction<void()>> later;
  const auto publisher = AnyPublisher<int>::create(
      [](const auto&) { return AnyCancellable(); },
      DropRule<AnyError>{errorOfCode(-999), [&later](auto block) { later.push_back(std::move(block)); }});
  const Recorder recorder(publisher);
  EXPECT_THAT(recorder.events(), IsEmpty());
  ASSERT_EQ(later.size(), 1u);
  later.front()();
  EXPECT_EQ(recorder.error()->code(), -999);
}

TEST(Create, AnAnsweredSubscriberIsNotFailedAgainWhenItIsDropped) {
  const TestPublisher<int> source;
  const Recorder recorder(source.publisher());
  source.succeed(1);
  source.letGo();
  EXPECT_THAT(recorder.events(), ElementsAre("value", "finished"));
}

TEST(Create, AnEndedSubscriptionDoesNotCancelItsWork) {
  const TestPublisher<int> source;
  Recorder recorder(source.publisher());
  source.succeed(1);
  recorder.cancel();
  EXPECT_EQ(source.cancellations(), 0);
}

TEST(SubscribeOn, MovesTheStartOfTheWorkOntoTheQueue) {
  const TestPublisher<int> source;
  const auto queue = std::make_shared<ManualQueue>();
  const Recorder recorder(subscribeOn(source.publisher(), queue));
  EXPECT_EQ(source.subscriptions(), 0u);
  queue->runAll();
  EXPECT_EQ(source.subscriptions(), 1u);
}

TEST(SubscribeOn, CancelledBeforeTheQueueGetsToItNeverStartsTheWork) {
  const TestPublisher<int> source;
  const auto queue = std::make_shared<ManualQueue>();
  Recorder recorder(subscribeOn(source.publisher(), queue));
  recorder.cancel();
  queue->runAll();
  EXPECT_EQ(source.subscriptions(), 0u);
}

TEST(SubscribeOn, CancelledAfterwardsCancelsTheWork) {
  const TestPublisher<int> source;
  const auto queue = std::make_shared<ManualQueue>();
  Recorder recorder(subscribeOn(source.publisher(), queue));
  queue->runAll();
  recorder.cancel();
  EXPECT_EQ(source.cancellations(), 1);
}

TEST(MapError, ReplacesTheFailureAndLeavesTheRest) {
  const auto mapped = [](const TestPublisher<int>& source) {
    return mapError(source.publisher(), [](const AnyError& error) { return errorOfCode(error.code() + 1); });
  };
  const TestPublisher<int> source;
  const Recorder failing(mapped(source));
  source.fail(errorOfCode(41));
  EXPECT_EQ(failing.error()->code(), 42);
  const Recorder succeeding(mapped(source));
  source.succeed(1);
  EXPECT_THAT(succeeding.events(), ElementsAre("value", "finished"));
}

TEST(HandleEvents, ShowsTheCompletionBeforeTheSubscriberSeesIt) {
  const TestPublisher<int> source;
  std::vector<std::string> order;
  const auto observed = handleEvents(source.publisher(), [&order](const auto& completion) {
    order.push_back(completion.isFinished() ? "observer: finished" : "observer: failed");
  });
  const auto first = observed.sink([&order](const auto&) { order.push_back("subscriber"); },
                                   [&order](int) { order.push_back("value"); });
  source.succeed(1);
  EXPECT_THAT(order, ElementsAre("value", "observer: finished", "subscriber"));
  order.clear();
  const auto second = observed.sink([&order](const auto&) { order.push_back("subscriber"); }, [](int) {});
  source.fail(errorOfCode(1));
  EXPECT_THAT(order, ElementsAre("observer: failed", "subscriber"));
}

TEST(HandleEvents, ShowsNothingOfACancelledSubscription) {
  const TestPublisher<int> source;
  int shown = 0;
  Recorder recorder(handleEvents(source.publisher(), [&shown](const auto&) { ++shown; }));
  recorder.cancel();
  source.succeed(1);
  EXPECT_EQ(shown, 0);
}

TEST(Deferred, MakesAPublisherForEachSubscriptionAndHoldsNothingAfterwards) {
  const TestPublisher<int> source;
  int made = 0;
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watch = held;
  auto publisher = std::make_unique<AnyPublisher<int>>(deferred<int>([held, &made, source] {
    ++made;
    return source.publisher();
  }));
  held.reset();
  const Recorder first(*publisher);
  const Recorder second(*publisher);
  EXPECT_EQ(made, 2);
  publisher.reset();
  EXPECT_TRUE(watch.expired()) << "running subscriptions keep what they were made from";
  source.succeed(1);
  EXPECT_TRUE(first.ended() && second.ended());
}

TEST(Future, RunsItsBodyAtOnceAndOnceForAllSubscribers) {
  int runs = 0;
  const auto publisher = future<int, AnyError>(errorOfCode(1), [&runs](const auto& promise) {
    ++runs;
    promise.fulfil(Result<int, AnyError>::success(7));
    promise.fulfil(Result<int, AnyError>::success(8));
  });
  EXPECT_EQ(runs, 1);
  const Recorder first(publisher);
  const Recorder second(publisher);
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(first.value(), 7);
  EXPECT_EQ(second.value(), 7);
}

TEST(Future, ServesWaitingSubscribersInTheirOrder) {
  std::optional<Promise<int, AnyError>> promise;
  const auto publisher =
      future<int, AnyError>(errorOfCode(1), [&promise](const auto& p) { promise.emplace(p); });
  std::string order;
  std::vector<AnyCancellable> subscriptions;
  for (const char name : {'a', 'b', 'c'})
    subscriptions.push_back(publisher.sink([](const auto&) {}, [&order, name](int) { order += name; }));
  promise->fulfil(Result<int, AnyError>::success(1));
  EXPECT_EQ(order, "abc");
}

TEST(Future, ForgottenPromiseGivesItsError) {
  const auto publisher = future<int, AnyError>(errorOfCode(5), [](const auto&) {});
  const Recorder recorder(publisher);
  EXPECT_EQ(recorder.error()->code(), 5);
}

TEST_F(RetryOperatorTest, SubscribesAgainAfterEachDelayAndDeliversTheLastFailure) {
  const Recorder recorder(retried(2));
  source.fail(errorOfCode(503));
  EXPECT_EQ(source.subscriptions(), 0u);
  queue->advance(1s);
  EXPECT_EQ(source.subscriptions(), 1u);
  source.fail(errorOfCode(503));
  queue->advance(2s);
  source.fail(errorOfCode(503));
  EXPECT_EQ(recorder.error()->code(), 503);
  EXPECT_THAT(queue->delays(), ElementsAre(1s, 2s));
}

TEST_F(RetryOperatorTest, WithNoFurtherAttemptsFailsAtOnce) {
  const Recorder recorder(retried(0));
  source.fail(errorOfCode(503));
  EXPECT_TRUE(recorder.ended());
  EXPECT_THAT(queue->delays(), IsEmpty());
}

TEST_F(RetryOperatorTest, CancelsTheRunningAttemptOrTheDelay) {
  Recorder attempting(retried());
  attempting.cancel();
  EXPECT_EQ(source.cancellations(), 1);
  source.letGo();

  Recorder waiting(retried());
  source.fail(errorOfCode(503));
  EXPECT_EQ(queue->pendingTimers(), 1u);
  waiting.cancel();
  EXPECT_EQ(queue->pendingTimers(), 0u);
}

TEST_F(RetryOperatorTest, HoldsNothingOfItsUpstreamOnceCancelledDuringADelay) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watch = held;
  const auto upstream = mapError(source.publisher(), [held](const AnyError& error) { return error; });
  auto publisher = std::make_unique<AnyPublisher<int>>(
      retry(upstream, DelayedRetryBehavior::exponentialDelayed(4, 1, 1, 8), queue,
            [held](const AnyError&) { return true; }));
  held.reset();
  Recorder recorder(*publisher);
  source.fail(errorOfCode(503));
  recorder.drop();
  publisher.reset();
  EXPECT_EQ(watch.use_count(), 1) << "the upstream itself, which the test holds";
}
