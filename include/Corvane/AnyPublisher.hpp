#pragma once

#include <Corvane/AnyCancellable.hpp>
#include <Corvane/AnyError.hpp>
#include <Corvane/Completion.hpp>
#include <Corvane/Publisher.hpp>
#include <Corvane/Sink.hpp>
#include <Corvane/Subscriber.hpp>

#include <functional>
#include <memory>
#include <utility>

namespace corvane {

/// An asynchronous result: one value followed by normal completion, or one failure, for each subscriber.
///
/// Lifetime: a copyable handle; it holds what its work needs. Work runs once per subscription and begins at
/// subscription, unless the operation that made the publisher says otherwise.
/// Threads: may be subscribed to from any thread; the operation says where callbacks run. Calls are serial.
/// Cancellation: dropping the AnyCancellable of a subscription cancels it, silently; keep it until the result
/// is in.
/// Errors: a subscription always ends, also when whoever worked for it lets go without an answer.
template <class Value, class Failure = AnyError>
class AnyPublisher {
 public:
  using Output = Value;
  using Error = Failure;

  explicit AnyPublisher(std::shared_ptr<const Publisher<Value, Failure>> publisher)
      : publisher_(std::move(publisher)) {}

  /// Work that runs at each subscription, on the subscribing thread, and answers through the subscriber it is
  /// given. It returns what is to be cancelled with the subscription. Useful to hosts for doubles of the
  /// module's services.
  static AnyPublisher create(std::function<AnyCancellable(Subscriber<Value, Failure>)> work,
                             DropRule<Failure> dropRule);

  /// A publisher that sends a value to each subscriber at once.
  static AnyPublisher just(Value value);
  /// A publisher that fails each subscriber at once.
  static AnyPublisher failing(Failure error);

  /// Subscribes. `onCompletion` is called last and once, after `onValue` if there is a value.
  AnyCancellable sink(typename Sink<Value, Failure>::OnCompletion onCompletion,
                      typename Sink<Value, Failure>::OnValue onValue) const {
    auto sink = std::make_shared<Sink<Value, Failure>>(std::move(onCompletion), std::move(onValue));
    sink->subscribed(publisher_->subscribe(sink));
    return AnyCancellable(std::static_pointer_cast<Cancellable>(std::move(sink)));
  }

  /// Subscribes a receiver of the caller's own; for operators.
  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const {
    return publisher_->subscribe(std::move(receiver));
  }

 private:
  class Create;

  std::shared_ptr<const Publisher<Value, Failure>> publisher_;
};

template <class Value, class Failure>
class AnyPublisher<Value, Failure>::Create final : public Publisher<Value, Failure> {
 public:
  using Work = std::function<AnyCancellable(Subscriber<Value, Failure>)>;

  Create(Work work, DropRule<Failure> dropRule) : work_(std::move(work)), dropRule_(std::move(dropRule)) {}

  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const override {
    Subscriber<Value, Failure> subscriber(std::move(receiver), dropRule_);
    subscriber.cancelWith(work_(subscriber));
    return subscriber.cancellable();
  }

 private:
  Work work_;
  DropRule<Failure> dropRule_;
};

template <class Value, class Failure>
AnyPublisher<Value, Failure> AnyPublisher<Value, Failure>::create(
    std::function<AnyCancellable(Subscriber<Value, Failure>)> work, DropRule<Failure> dropRule) {
  return AnyPublisher(std::make_shared<const Create>(std::move(work), std::move(dropRule)));
}

template <class Value, class Failure>
class JustPublisher final : public Publisher<Value, Failure> {
 public:
  explicit JustPublisher(Value value) : value_(std::move(value)) {}
  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const override {
    receiver->receive(value_);
    receiver->complete(Completion<Failure>::finished());
    return nullptr;
  }

 private:
  Value value_;
};

template <class Value, class Failure>
class FailingPublisher final : public Publisher<Value, Failure> {
 public:
  explicit FailingPublisher(Failure error) : error_(std::move(error)) {}
  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const override {
    receiver->complete(Completion<Failure>::failure(error_));
    return nullptr;
  }

 private:
  Failure error_;
};

template <class Value, class Failure>
AnyPublisher<Value, Failure> AnyPublisher<Value, Failure>::just(Value value) {
  return AnyPublisher(std::make_shared<const JustPublisher<Value, Failure>>(std::move(value)));
}

template <class Value, class Failure>
AnyPublisher<Value, Failure> AnyPublisher<Value, Failure>::failing(Failure error) {
  return AnyPublisher(std::make_shared<const FailingPublisher<Value, Failure>>(std::move(error)));
}

}  // namespace corvane
