#pragma once

#include <Corvane/AnyPublisher.hpp>

#include <memory>
#include <stdexcept>
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

/// A publisher that breaks its promise: subscribing throws a std::logic_error, and it tells its
/// receiver all the same, later.
template <class Value>
class ThrowingPublisher {
 public:
  AnyPublisher<Value> publisher() const { return AnyPublisher<Value>(throwing_); }
  void tellLate() const {
    throwing_->receiver->complete(Completion<AnyError>::failure(TestPublisher<Value>::dropped()));
  }

 private:
  struct Throwing final : Publisher<Value, AnyError> {
    std::shared_ptr<Cancellable> subscribe(
        std::shared_ptr<Receiver<Value, AnyError>> kept) const override {
      receiver = std::move(kept);
      throw std::logic_error("a host's bug");
    }
    mutable std::shared_ptr<Receiver<Value, AnyError>> receiver;
  };

  std::shared_ptr<Throwing> throwing_ = std::make_shared<Throwing>();
};

}  // namespace corvane::test
