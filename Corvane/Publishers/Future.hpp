#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/ExceptionErrors.hpp>
#include <Corvane/Result.hpp>

#include <atomic>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <utility>

/// A one-shot promise and the publisher of its result.
///
/// Problem: the work starts before anybody subscribes, and its one result is for every subscriber, early or
/// late. Idea: waiting subscriptions form a stack with one atomic head. Fulfilling takes the stack and leaves
/// a mark in its place; whoever subscribes afterwards sees the mark and is served at once, on its own thread.
/// No lock is needed, as the result is written before the mark.
namespace corvane {

template <class Value, class Failure>
class FutureState {
 public:
  using Outcome = Result<Value, Failure>;

  FutureState() = default;
  FutureState(const FutureState&) = delete;
  FutureState& operator=(const FutureState&) = delete;
  ~FutureState() {
    if (Entry* waiting = head_.load(); waiting != done()) dispose(waiting);
  }

  void fulfil(Outcome outcome) {
    outcome_.emplace(std::move(outcome));
    Entry* waiting = inOrder(head_.exchange(done(), std::memory_order_acq_rel));
    while (waiting) {
      const std::unique_ptr<Entry> entry(waiting);
      waiting = entry->next;
      deliver(*entry->subscription);
    }
  }

  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) {
    auto subscription = std::make_shared<Subscription>(std::move(receiver));
    auto entry = std::make_unique<Entry>(Entry{subscription, head_.load(std::memory_order_acquire)});
    while (entry->next != done()) {
      if (head_.compare_exchange_weak(entry->next, entry.get(), std::memory_order_acq_rel)) {
        entry.release();
        return subscription;
      }
    }
    deliver(*subscription);
    return subscription;
  }

 private:
  struct Subscription final : Cancellable {
    explicit Subscription(std::shared_ptr<Receiver<Value, Failure>> r) : receiver(std::move(r)) {}
    void cancel() noexcept override { cancelled = true; }
    std::shared_ptr<Receiver<Value, Failure>> receiver;
    std::atomic<bool> cancelled{false};
  };

  struct Entry {
    std::shared_ptr<Subscription> subscription;
    Entry* next;
  };

  static Entry* done() noexcept {
    static Entry mark{};
    return &mark;
  }

  static Entry* inOrder(Entry* newestFirst) {
    Entry* oldestFirst = nullptr;
    while (newestFirst) {
      Entry* entry = std::exchange(newestFirst, newestFirst->next);
      entry->next = std::exchange(oldestFirst, entry);
    }
    return oldestFirst;
  }

  static void dispose(Entry* entry) {
    while (entry) delete std::exchange(entry, entry->next);
  }

  void deliver(Subscription& subscription) {
    if (subscription.cancelled) return;
    if (!outcome_->isSuccess()) {
      subscription.receiver->complete(Completion<Failure>::failure(outcome_->error()));
    } else if (auto value = copyOfValue()) {
      subscription.receiver->receive(*std::move(value));
      if (!subscription.cancelled) subscription.receiver->complete(Completion<Failure>::finished());
    } else {
      subscription.receiver->complete(Completion<Failure>::failure(Failure(outOfMemory())));
    }
  }

  // Each subscriber gets a copy of its own; nothing when there is no memory for it.
  std::optional<Value> copyOfValue() const noexcept {
    try {
      return outcome_->value();
    } catch (const std::bad_alloc&) {
      return std::nullopt;
    }
  }

  std::optional<Outcome> outcome_;
  std::atomic<Entry*> head_{nullptr};
};

/// The working end: copies speak for the same promise; the last one dropped without an outcome gives
/// `ifDropped`.
template <class Value, class Failure>
class Promise {
 public:
  explicit Promise(Failure ifDropped) : obligation_(std::make_shared<Obligation>(std::move(ifDropped))) {}

  /// Only the first outcome counts.
  void fulfil(Result<Value, Failure> outcome) const { obligation_->fulfil(std::move(outcome)); }
  const std::shared_ptr<FutureState<Value, Failure>>& state() const { return obligation_->state; }

 private:
  struct Obligation {
    explicit Obligation(Failure error) : ifDropped(std::move(error)) {}
    Obligation(const Obligation&) = delete;
    Obligation& operator=(const Obligation&) = delete;
    ~Obligation() { fulfil(Result<Value, Failure>::failure(std::move(ifDropped))); }

    void fulfil(Result<Value, Failure> outcome) {
      if (!fulfilled.exchange(true)) state->fulfil(std::move(outcome));
    }

    const std::shared_ptr<FutureState<Value, Failure>> state =
        std::make_shared<FutureState<Value, Failure>>();
    Failure ifDropped;
    std::atomic<bool> fulfilled{false};
  };

  std::shared_ptr<Obligation> obligation_;
};

template <class Value, class Failure>
class FuturePublisher final : public Publisher<Value, Failure> {
 public:
  explicit FuturePublisher(std::shared_ptr<FutureState<Value, Failure>> state) : state_(std::move(state)) {}
  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const override {
    return state_->subscribe(std::move(receiver));
  }

 private:
  std::shared_ptr<FutureState<Value, Failure>> state_;
};

/// Runs `body` with a new promise, at once, and returns the publisher of what it will be fulfilled
/// with. What keeps `body` from its work is the failure.
template <class Value, class Failure, class Body>
AnyPublisher<Value, Failure> future(Failure ifDropped, Body&& body) {
  const Promise<Value, Failure> promise(std::move(ifDropped));
  auto state = promise.state();
  try {
    body(promise);
  } catch (const std::exception& exception) {
    promise.fulfil(Result<Value, Failure>::failure(Failure(errorOfException(exception))));
  }
  return AnyPublisher<Value, Failure>(
      std::make_shared<const FuturePublisher<Value, Failure>>(std::move(state)));
}

}  // namespace corvane
