#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/CancellableSlot.hpp>
#include <CorvanePlatform/DelayedRetryBehavior.hpp>
#include <CorvanePlatform/Queue.hpp>

#include <exception>
#include <functional>
#include <memory>
#include <utility>

/// The retry operator: subscribes to its upstream again, after a delay, as long as the failure is worth it.
///
/// Problem: what has to be cancelled changes all the time (an attempt, a delay, the next attempt), and each
/// of them may be over before the call that starts it returns. Idea: a subscription keeps one slot for the
/// current step, and each step has a slot of its own. A step stands in the subscription's slot before it is
/// started, so that a late "started" of an old step cannot push a new one out. Cost: two small allocations
/// per attempt.
namespace corvane {

template <class Value, class Failure>
class Retry final : public Publisher<Value, Failure> {
 public:
  using ShouldRetry = std::function<bool(const Failure&)>;

  Retry(AnyPublisher<Value, Failure> upstream, DelayedRetryBehavior behavior,
        std::shared_ptr<Queue> scheduler, ShouldRetry shouldRetry)
      : plan_(std::make_shared<const Plan>(
            Plan{std::move(upstream), behavior, std::move(scheduler), std::move(shouldRetry)})) {}

  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const override {
    auto subscription = std::make_shared<Subscription>(plan_, std::move(receiver));
    subscription->attempt();
    return subscription;
  }

 private:
  struct Plan {
    AnyPublisher<Value, Failure> upstream;
    DelayedRetryBehavior behavior;
    std::shared_ptr<Queue> scheduler;
    ShouldRetry shouldRetry;
  };

  class Subscription final : public Cancellable, public std::enable_shared_from_this<Subscription> {
   public:
    Subscription(std::shared_ptr<const Plan> plan, std::shared_ptr<Receiver<Value, Failure>> downstream)
        : plan_(std::move(plan)), downstream_(std::move(downstream)) {}

    /// The first attempt throws to its subscriber what keeps it from starting.
    void attempt() {
      const auto step = beginStep();
      step->set(plan_->upstream.subscribe(std::make_shared<Attempt>(this->shared_from_this())));
    }

    void attemptFailed(Failure error) {
      if (!triesAgain(error)) end(Completion<Failure>::failure(std::move(error)));
    }

    void receive(Value value) { downstream_->receive(std::move(value)); }
    void end(Completion<Failure> completion) {
      step_.close();
      downstream_->complete(std::move(completion));
    }

    void cancel() noexcept override { step_.cancel(); }

   private:
    /// Arranges a further attempt. Without memory or a thread for it there is none, and the failure stands.
    bool triesAgain(const Failure& error) noexcept {
      try {
        if (retries_ >= plan_->behavior.count() || !plan_->shouldRetry(error)) return false;
        const auto delay = plan_->behavior.delay(retries_++);
        const auto step = beginStep();
        step->set(plan_->scheduler->asyncAfter(
            delay, [self = this->shared_from_this(), error] { self->attemptAfter(error); }));
        return true;
      } catch (const std::exception&) {
        return false;
      }
    }

    void attemptAfter(const Failure& lastError) noexcept {
      try {
        attempt();
      } catch (const std::exception&) {
        end(Completion<Failure>::failure(lastError));
      }
    }

    std::shared_ptr<CancellableSlot> beginStep() {
      auto step = std::make_shared<CancellableSlot>();
      step_.set(step);
      return step;
    }

    std::shared_ptr<const Plan> plan_;
    std::shared_ptr<Receiver<Value, Failure>> downstream_;
    int retries_ = 0;  // attempts follow one another, so only one thread at a time is here
    CancellableSlot step_;
  };

  class Attempt final : public Receiver<Value, Failure> {
   public:
    explicit Attempt(std::shared_ptr<Subscription> subscription) : subscription_(std::move(subscription)) {}
    void receive(Value value) override { subscription_->receive(std::move(value)); }
    void complete(Completion<Failure> completion) override {
      if (completion.isFailure()) {
        subscription_->attemptFailed(std::move(completion).error());
      } else {
        subscription_->end(std::move(completion));
      }
    }

   private:
    std::shared_ptr<Subscription> subscription_;
  };

  std::shared_ptr<const Plan> plan_;
};

/// `scheduler` runs the delays and starts the further attempts. Values pass; so does a failure that is not
/// retried, or that of the last attempt. Cancelling ends the running attempt or delay at once.
template <class Value, class Failure>
AnyPublisher<Value, Failure> retry(AnyPublisher<Value, Failure> upstream, DelayedRetryBehavior behavior,
                                   std::shared_ptr<Queue> scheduler,
                                   std::type_identity_t<std::function<bool(const Failure&)>> shouldRetry) {
  return AnyPublisher<Value, Failure>(std::make_shared<const Retry<Value, Failure>>(
      std::move(upstream), behavior, std::move(scheduler), std::move(shouldRetry)));
}

}  // namespace corvane
