#pragma once

#include <Corvane/AnyPublisher.hpp>

#include <functional>
#include <memory>
#include <utility>

namespace corvane {

/// Lets an observer see the completion just before the subscriber does. A cancelled subscription shows it
/// nothing.
template <class Value, class Failure>
class HandleEvents final : public Publisher<Value, Failure> {
 public:
  using Observer = std::function<void(const Completion<Failure>&)>;

  HandleEvents(AnyPublisher<Value, Failure> upstream, Observer receiveCompletion)
      : upstream_(std::move(upstream)), receiveCompletion_(std::move(receiveCompletion)) {}

  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const override {
    return upstream_.subscribe(std::make_shared<Observed>(std::move(receiver), receiveCompletion_));
  }

 private:
  class Observed final : public Receiver<Value, Failure> {
   public:
    Observed(std::shared_ptr<Receiver<Value, Failure>> downstream, Observer receiveCompletion)
        : downstream_(std::move(downstream)), receiveCompletion_(std::move(receiveCompletion)) {}

    void receive(Value value) override { downstream_->receive(std::move(value)); }
    void complete(Completion<Failure> completion) override {
      receiveCompletion_(completion);
      downstream_->complete(std::move(completion));
    }

   private:
    std::shared_ptr<Receiver<Value, Failure>> downstream_;
    Observer receiveCompletion_;
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
