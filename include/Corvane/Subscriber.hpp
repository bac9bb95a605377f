#pragma once

#include <Corvane/CancellableSlot.hpp>
#include <Corvane/Completion.hpp>
#include <Corvane/Publisher.hpp>
#include <Corvane/UniqueFunction.hpp>

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

namespace corvane {

/// What happens to a subscriber that everybody let go of without an answer: the error it gets, and where.
/// `deliver` runs the block that delivers; an empty one, or one that throws, means at once, on the thread that
/// let go.
template <class Failure>
struct DropRule {
  Failure error;
  std::function<void(UniqueFunction<void()>)> deliver;
};

/// The working end of one subscription: whoever holds it owes one value and a completion, or a failure.
///
/// Copies speak for the same subscription. Only the first value and the first completion count; after a
/// cancellation nothing does. When the last copy is dropped without an answer, the drop rule's error is
/// delivered: never a hang. Any thread may use it, one at a time.
template <class Value, class Failure>
class Subscriber {
 public:
  Subscriber(std::shared_ptr<Receiver<Value, Failure>> receiver, DropRule<Failure> dropRule)
      : obligation_(std::make_shared<Obligation>(std::make_shared<Subscription>(std::move(receiver)),
                                                 std::move(dropRule))) {}

  void send(Value value) const { subscription().send(std::move(value)); }
  void finish() const { subscription().complete(Completion<Failure>::finished()); }
  void fail(Failure error) const { subscription().complete(Completion<Failure>::failure(std::move(error))); }
  /// One value and the end, which is how every operation of the module succeeds.
  void succeed(Value value) const {
    send(std::move(value));
    finish();
  }

  bool isCancelled() const noexcept { return subscription().work.isCancelled(); }

  /// The subscription as what its holder cancels; it does not count as an owing copy.
  std::shared_ptr<Cancellable> cancellable() const { return obligation_->subscription; }

  /// What is to be cancelled with the subscription.
  void cancelWith(AnyCancellable work) const { subscription().work.set(work.release()); }

 private:
  struct Subscription final : Cancellable {
    explicit Subscription(std::shared_ptr<Receiver<Value, Failure>> r) : receiver(std::move(r)) {}

    void send(Value value) {
      if (work.isCancelled() || answered.load() || valueSent.exchange(true)) return;
      receiver->receive(std::move(value));
    }
    void complete(Completion<Failure> completion) {
      if (answered.exchange(true)) return;
      if (!work.close()) return;  // cancelled: nothing begins any more
      receiver->complete(std::move(completion));
    }
    void cancel() noexcept override { work.cancel(); }

    const std::shared_ptr<Receiver<Value, Failure>> receiver;
    std::atomic<bool> valueSent{false};
    std::atomic<bool> answered{false};
    CancellableSlot work;
  };

  struct Obligation {
    Obligation(std::shared_ptr<Subscription> s, DropRule<Failure> rule)
        : subscription(std::move(s)), dropRule(std::move(rule)) {}
    Obligation(const Obligation&) = delete;
    Obligation& operator=(const Obligation&) = delete;
    ~Obligation() {
      if (subscription->answered.load() || subscription->work.isCancelled()) return;
      if (!delivered()) subscription->complete(Completion<Failure>::failure(std::move(dropRule.error)));
    }

    bool delivered() const noexcept {
      if (!dropRule.deliver) return false;
      try {
        dropRule.deliver([open = subscription, error = dropRule.error]() mutable {
          open->complete(Completion<Failure>::failure(std::move(error)));
        });
        return true;
      } catch (...) {  // neither memory nor a thread for the block
        return false;
      }
    }

    const std::shared_ptr<Subscription> subscription;
    DropRule<Failure> dropRule;
  };

  Subscription& subscription() const { return *obligation_->subscription; }

  std::shared_ptr<Obligation> obligation_;
};

}  // namespace corvane
