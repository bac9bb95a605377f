#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/CancellableSlot.hpp>

#include <functional>
#include <memory>
#include <utility>

namespace corvane {

/// Lets an observer see the completion just before the subscriber does. A cancelled subscription
/// shows it nothing: of a completion and a cancellation that meet, the first to come wins. An
/// exception of the observer ends the program.
template <class Value, class Failure>
class HandleEvents final : public Publisher<Value, Failure> {
 public:
  using Observer = std::function<void(const Completion<Failure>&)>;

  HandleEvents(AnyPublisher<Value, Failure> upstream, Observer receiveCompletion)
      : upstream_(std::move(upstream)), receiveCompletion_(std::move(receiveCompletion)) {}

  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const override {
    auto observed = std::make_shared<Observed>(std::move(receiver), receiveCompletion_);
    observed->subscribed(upstream_.subscribe(observed));
    return observed;
  }

 private:
  class Observed final : public Receiver<Value, Failure>, public Cancellable {
   public:
    Observed(std::shared_ptr<Receiver<Value, Failure>> downstream, Observer receiveCompletion)
        : downstream_(std::move(downstream)), receiveCompletion_(std::move(receiveCompletion)) {}

    void subscribed(std::shared_ptr<Cancellable> upstream) { upstream_.set(std::move(upstream)); }

    void receive(Value value) override { downstream_->receive(std::move(value)); }
    void complete(Completion<Failure> completion) override {
      if (!upstream_.close()) return;
      observe(completion);
      downstream_->complete(std::move(completion));
    }

    void cancel() noexcept override { upstream_.cancel(); }

   private:
    void observe(const Completion<Failure>& completion) const noexcept {
      receiveCompletion_(completion);
    }

    std::shared_ptr<Receiver<Value, Failure>> downstream_;
    Observer receiveCompletion_;
    CancellableSlot upstream_;
  };

  AnyPublisher<Value, Failure> upstream_;
  Observer receiveCompletion_;
};

template <class Value, class Failure>
AnyPublisher<Value, Failure> handleEvents(
    AnyPublisher<Value, Failure> upstream,
    std::type_identity_t<std::function<void(const Completion<Failure>&)>> receiveCompletion) {
  return AnyPublisher<Value, Failure>(std::make_shared<const HandleEvents<Value, Failure>>(
      std::move(upstream), std::move(receiveCompletion)));
}

}  // namespace corvane
