#pragma once

#include <Corvane/AnyPublisher.hpp>

#include <functional>
#include <memory>
#include <new>
#include <utility>

namespace corvane {

/// Replaces the failure by what a function makes of it; values and normal completion pass. A failure that
/// there is no memory to replace passes too: one that is told badly beats one that is not told.
template <class Value, class Failure>
class MapError final : public Publisher<Value, Failure> {
 public:
  using Transform = std::function<Failure(Failure)>;

  MapError(AnyPublisher<Value, Failure> upstream, Transform transform)
      : upstream_(std::move(upstream)), transform_(std::move(transform)) {}

  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const override {
    return upstream_.subscribe(std::make_shared<Mapped>(std::move(receiver), transform_));
  }

 private:
  class Mapped final : public Receiver<Value, Failure> {
   public:
    Mapped(std::shared_ptr<Receiver<Value, Failure>> downstream, Transform transform)
        : downstream_(std::move(downstream)), transform_(std::move(transform)) {}

    void receive(Value value) override { downstream_->receive(std::move(value)); }
    void complete(Completion<Failure> completion) override {
      downstream_->complete(completion.isFailure() ? mapped(completion) : std::move(completion));
    }

   private:
    Completion<Failure> mapped(const Completion<Failure>& completion) const {
      try {
        return Completion<Failure>::failure(transform_(completion.error()));
      } catch (const std::bad_alloc&) {
        return completion;
      }
    }

    std::shared_ptr<Receiver<Value, Failure>> downstream_;
    Transform transform_;
  };

  AnyPublisher<Value, Failure> upstream_;
  Transform transform_;
};

template <class Value, class Failure>
AnyPublisher<Value, Failure> mapError(AnyPublisher<Value, Failure> upstream,
                                      std::type_identity_t<std::function<Failure(Failure)>> transform) {
  return AnyPublisher<Value, Failure>(
      std::make_shared<const MapError<Value, Failure>>(std::move(upstream), std::move(transform)));
}

}  // namespace corvane
