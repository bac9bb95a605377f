#pragma once

#include <Corvane/AnyCancellable.hpp>
#include <Corvane/AnyError.hpp>
#include <Corvane/Completion.hpp>
#include <Corvane/ExceptionErrors.hpp>
#include <Corvane/Publisher.hpp>
#include <Corvane/Sink.hpp>
#include <Corvane/Subscriber.hpp>

#include <concepts>
#include <exception>
#include <functional>
#include <memory>
#include <new>
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
/// What keeps it from starting is a failure like any other: no memory, no thread, an AnyError that
/// the work throws. Other exceptions of a host's own work leave `sink`, which then calls nobody
/// back. If `Failure` cannot be made from an AnyError, all of them do.
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
  ///
  ///     AnyPublisher<int>::create(
  ///         [](const Subscriber<int, AnyError>& subscriber) {
  ///           subscriber.succeed(7);
  ///           return AnyCancellable();
  ///         },
  ///         DropRule<AnyError>{NSError("com.example.app", 1), {}});
  static AnyPublisher create(std::function<AnyCancellable(Subscriber<Value, Failure>)> work,
                             DropRule<Failure> dropRule);

  /// A publisher that sends a value to each subscriber at once.
  static AnyPublisher just(Value value);
  /// A publisher that fails each subscriber at once.
  static AnyPublisher failing(Failure error);

  /// Subscribes. `onCompletion` is called last and once, after `onValue` if there is a value. Both
  /// are needed:
  ///
  ///     auto subscription = drive->getAbout().sink(
  ///         [](Completion<AnyError> end) { if (end.isFailure()) show(end.error().what()); },
  ///         [](About about) { show(about.user.displayName); });
  template <class OnCompletion, class OnValue>
  requires std::invocable<OnCompletion&, Completion<Failure>> && std::invocable<OnValue&, Value>
      AnyCancellable sink(OnCompletion onCompletion, OnValue onValue)
  const {
    const auto sink = makeSink(onCompletion, onValue);
    if (!sink) return {};
    try {
      sink->subscribed(subscribe(sink));
    } catch (...) {
      sink->cancel();
      throw;
    }
    return AnyCancellable(std::static_pointer_cast<Cancellable>(sink));
  }

  /// Subscribes a receiver of the caller's own; for operators. If the subscription cannot start,
  /// the receiver is told the failure.
  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const {
    if constexpr (HoldsAnyError<Failure>) {
      try {
        return publisher_->subscribe(receiver);
      } catch (const std::exception& exception) {
        if (!isFailureOfSystem(exception)) throw;
        receiver->complete(Completion<Failure>::failure(Failure(errorOfException(exception))));
        return nullptr;
      }
    } else {
      return publisher_->subscribe(std::move(receiver));
    }
  }

 private:
  class Create;

  template <class OnCompletion, class OnValue>
  struct Callbacks final : SinkCallbacks<Value, Failure> {
    Callbacks(OnCompletion&& completion, OnValue&& value)
        : receive(std::move(value)), complete(std::move(completion)) {}
    void onValue(Value value) override { receive(std::move(value)); }
    void onCompletion(Completion<Failure> completion) override { complete(std::move(completion)); }
    OnValue receive;
    OnCompletion complete;
  };

  // Null when there is no memory for it, which `onCompletion` then has been told.
  template <class OnCompletion, class OnValue>
  static std::shared_ptr<Sink<Value, Failure>> makeSink(OnCompletion& onCompletion,
                                                        OnValue& onValue) {
    const auto make = [&] {
      auto sink = std::make_shared<Sink<Value, Failure>>();
      sink->callBack(std::make_unique<Callbacks<OnCompletion, OnValue>>(std::move(onCompletion),
                                                                        std::move(onValue)));
      return sink;
    };
    if constexpr (HoldsAnyError<Failure>) {
      try {
        return make();
      } catch (const std::bad_alloc&) {
        [&]() noexcept { onCompletion(Completion<Failure>::failure(Failure(outOfMemory()))); }();
        return nullptr;
      }
    } else {
      return make();
    }
  }

  std::shared_ptr<const Publisher<Value, Failure>> publisher_;
};

template <class Value, class Failure>
class AnyPublisher<Value, Failure>::Create final : public Publisher<Value, Failure> {
 public:
  using Work = std::function<AnyCancellable(Subscriber<Value, Failure>)>;

  Create(Work work, DropRule<Failure> dropRule) : work_(std::move(work)), dropRule_(std::move(dropRule)) {}

  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const override {
    Subscriber<Value, Failure> subscriber(std::move(receiver), dropRule_);
    try {
      subscriber.cancelWith(work_(subscriber));
    } catch (...) {
      failOrThrow(subscriber);
    }
    return subscriber.cancellable();
  }

 private:
  // Called while an exception is handled. It is the one answer of this subscription: as its failure
  // if the system has failed, otherwise as what leaves `subscribe`.
  static void failOrThrow(const Subscriber<Value, Failure>& subscriber) {
    if constexpr (HoldsAnyError<Failure>) {
      try {
        throw;
      } catch (const std::exception& exception) {
        if (isFailureOfSystem(exception)) return subscriber.fail(Failure(errorOfException(exception)));
      } catch (...) {
      }
    }
    subscriber.cancellable()->cancel();
    throw;
  }

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
