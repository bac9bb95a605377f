#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/CancellableSlot.hpp>
#include <CorvanePlatform/Queue.hpp>

#include <memory>
#include <utility>

namespace corvane {

/// Moves the subscription, and with it the start of the work, onto a queue. Cancelled before the queue gets
/// to it, the work never starts.
template <class Value, class Failure>
class SubscribeOn final : public Publisher<Value, Failure> {
 public:
  SubscribeOn(AnyPublisher<Value, Failure> upstream, std::shared_ptr<Queue> queue)
      : upstream_(std::move(upstream)), queue_(std::move(queue)) {}

  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const override {
    auto slot = std::make_shared<CancellableSlot>();
    queue_->async([slot, upstream = upstream_, receiver = std::move(receiver)] {
      if (!slot->isCancelled()) slot->set(upstream.subscribe(receiver));
    });
    return slot;
  }

 private:
  AnyPublisher<Value, Failure> upstream_;
  std::shared_ptr<Queue> queue_;
};

template <class Value, class Failure>
AnyPublisher<Value, Failure> subscribeOn(AnyPublisher<Value, Failure> upstream,
                                         std::shared_ptr<Queue> queue) {
  return AnyPublisher<Value, Failure>(
      std::make_shared<const SubscribeOn<Value, Failure>>(std::move(upstream), std::move(queue)));
}

}  // namespace corvane
