#pragma once

#include <Corvane/AnyPublisher.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// What every publisher must do, whatever makes its events: the operators and the module's operations alike. A
// test program includes this header once and names what to run it on:
//
//   INSTANTIATE_TEST_SUITE_P(Operators, PublisherContract, testing::ValuesIn(operators()), nameOf);

namespace corvane::test {

/// One publisher, with its types rubbed off and whatever drives it within reach.
struct PublisherRig {
  struct Callbacks {
    std::function<void()> onValue;
    std::function<void(bool failed)> onCompletion;
  };

  /// Subscribes; what the callbacks hold is held by the subscription alone.
  std::function<AnyCancellable(Callbacks)> subscribe;
  /// Lets the work end in the way that the case names.
  std::function<void()> end;
};

/// One way for one publisher to end.
struct PublisherCase {
  std::string name;
  bool succeeds;
  std::function<PublisherRig()> make;

  friend void PrintTo(const PublisherCase& self, std::ostream* out) { *out << self.name; }
};

inline std::string nameOf(const testing::TestParamInfo<PublisherCase>& info) {
  return info.param.name;
}

/// A rig over `publisher`, which `end` ends.
template <class Value, class Failure>
PublisherRig rigOver(AnyPublisher<Value, Failure> publisher, std::function<void()> end) {
  PublisherRig rig;
  rig.subscribe = [publisher = std::move(publisher)](PublisherRig::Callbacks callbacks) {
    auto shared = std::make_shared<const PublisherRig::Callbacks>(std::move(callbacks));
    return publisher.sink(
        [shared](const Completion<Failure>& completion) { shared->onCompletion(completion.isFailure()); },
        [shared](const Value&) { shared->onValue(); });
  };
  rig.end = std::move(end);
  return rig;
}

class PublisherContract : public testing::TestWithParam<PublisherCase> {
 protected:
  using Events = std::vector<std::string>;

  PublisherRig::Callbacks recording(const std::shared_ptr<Events>& into) {
    return {[into] { into->push_back("value"); },
            [into](bool failed) { into->push_back(failed ? "failed" : "finished"); }};
  }

  Events expected() const { return GetParam().succeeds ? Events{"value", "finished"} : Events{"failed"}; }

  PublisherRig rig = GetParam().make();
  std::shared_ptr<Events> events = std::make_shared<Events>();
};

using PublisherContractDeathTest = PublisherContract;

TEST_P(PublisherContract, SendsOneValueAndFinishesOrFailsOnceAndThenNothing) {
  const auto subscription = rig.subscribe(recording(events));
  rig.end();
  EXPECT_EQ(*events, expected());
  rig.end();
  EXPECT_EQ(*events, expected());
}

TEST_P(PublisherContract, ServesEverySubscriber) {
  const auto others = std::make_shared<Events>();
  const auto first = rig.subscribe(recording(events));
  const auto second = rig.subscribe(recording(others));
  rig.end();
  EXPECT_EQ(*events, expected());
  EXPECT_EQ(*others, expected());
}

TEST_P(PublisherContract, IsSilentAfterCancel) {
  const auto subscription = rig.subscribe(recording(events));
  const auto before = *events;
  subscription.cancel();
  rig.end();
  EXPECT_EQ(*events, before);
}

TEST_P(PublisherContract, IsSilentAfterTheSubscriptionIsDropped) {
  Events before;
  {
    const auto subscription = rig.subscribe(recording(events));
    before = *events;
  }
  rig.end();
  EXPECT_EQ(*events, before);
}

TEST_P(PublisherContract, MayBeCancelledAgainFromAnyThreadAndAfterTheEnd) {
  const auto subscription = rig.subscribe(recording(events));
  const auto before = *events;
  std::thread([&subscription] { subscription.cancel(); }).join();
  subscription.cancel();
  rig.end();
  subscription.cancel();
  EXPECT_EQ(*events, before);

  const auto toTheEnd = rig.subscribe(recording(events));
  rig.end();
  const auto after = *events;
  toTheEnd.cancel();
  rig.end();
  EXPECT_EQ(*events, after);
}

TEST_P(PublisherContract, CancelledWithinItsOwnFirstCallbackMakesNoFurtherCall) {
  AnyCancellable subscription;
  bool armed = false;
  auto callbacks = recording(events);
  const auto cancelling = [&subscription](auto record) {
    return [&subscription, record](auto... argument) {
      record(argument...);
      subscription.cancel();
    };
  };
  callbacks.onValue = cancelling(callbacks.onValue);
  callbacks.onCompletion = cancelling(callbacks.onCompletion);
  subscription = rig.subscribe(std::move(callbacks));
  armed = events->empty();
  rig.end();
  // One that sends while it is being subscribed to cannot be cancelled from within.
  EXPECT_EQ(*events, armed ? Events{expected().front()} : expected());
}

TEST_P(PublisherContract, LetsGoOfTheCallbacksWhenItEnds) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watch = held;
  auto callbacks = recording(events);
  callbacks.onValue = [held, record = callbacks.onValue] { record(); };
  held.reset();
  const auto subscription = rig.subscribe(std::move(callbacks));
  rig.end();
  EXPECT_EQ(*events, expected());
  EXPECT_TRUE(watch.expired());
}

TEST_P(PublisherContract, LetsGoOfTheCallbacksWhenItIsCancelled) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watch = held;
  auto callbacks = recording(events);
  callbacks.onCompletion = [held, record = callbacks.onCompletion](bool failed) { record(failed); };
  held.reset();
  const auto subscription = rig.subscribe(std::move(callbacks));
  subscription.cancel();
  EXPECT_TRUE(watch.expired());
  rig.end();
}

TEST_P(PublisherContract, RunsToItsEndWhenTheSubscriptionIsGivenAway) {
  auto subscription = rig.subscribe(recording(events));
  subscription.release();
  rig.end();
  EXPECT_EQ(*events, expected());
}

TEST_P(PublisherContractDeathTest, AnExceptionInTheHostsCallbackEndsTheProgram) {
  const auto endWithAThrow = [this] {
    auto callbacks = recording(events);
    callbacks.onCompletion = [](bool) { throw std::runtime_error("the host's bug"); };
    const auto subscription = rig.subscribe(std::move(callbacks));
    rig.end();
  };
  EXPECT_DEATH(endWithAThrow(), "the host's bug|terminate");
}

}  // namespace corvane::test
