#pragma once

#include <Corvane/AnyPublisher.hpp>

#include <memory>
#include <utility>
#include <vector>

namespace corvane::test {

/// A publisher whose subscriptions stay open until the test answers them.
template <class Value>
class TestPublisher {
 public:
  AnyPublisher<Value> publisher() const {
    return AnyPublisher<Value>::create(
        [open = open_](const Subscriber<Value, AnyError>& subscriber) {
          open->subscribers.push_back(subscriber);
          return AnyCancellable([open] { ++open->cancellations; });
        },
        DropRule<AnyError>{dropped(), {}});
  }

  static AnyError dropped() { return NSError("TestPublisher", -1); }

  std::size_t subscriptions() const { return open_->subscribers.size(); }
  int cancellations() const { return open_->cancellations; }

  void succeed(const Value& value) const {
    for (const auto& subscriber : take()) subscriber.succeed(value);
  }
  void fail(const AnyError& error) const {
    for (const auto& subscriber : take()) subscriber.fail(error);
  }
  /// Lets go of the subscribers without an answer.
  void letGo() const { take(); }

 private:
  struct Open {
    std::vector<Subscriber<Value, AnyError>> subscribers;
    int cancellations = 0;
  };

  std::vector<Subscriber<Value, AnyError>> take() const { return std::exchange(open_->subscribers, {}); }

  std::shared_ptr<Open> open_ = std::make_shared<Open>();
};

}  // namespace corvane::test
