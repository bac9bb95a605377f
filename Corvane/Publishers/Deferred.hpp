#pragma once

#include <Corvane/AnyPublisher.hpp>

#include <functional>
#include <memory>
#include <utility>

namespace corvane {

/// Makes a publisher of its own for each subscription. The subscription holds what was made for it and
/// nothing of the maker, so that the maker may hold more than a running subscription should.
template <class Value, class Failure>
class Deferred final : public Publisher<Value, Failure> {
 public:
  explicit Deferred(std::function<AnyPublisher<Value, Failure>()> make) : make_(std::move(make)) {}

  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<Value, Failure>> receiver) const override {
    return make_().subscribe(std::move(receiver));
  }

 private:
  std::function<AnyPublisher<Value, Failure>()> make_;
};

template <class Value, class Failure = AnyError>
AnyPublisher<Value, Failure> deferred(
    std::type_identity_t<std::function<AnyPublisher<Value, Failure>()>> make) {
  return AnyPublisher<Value, Failure>(std::make_shared<const Deferred<Value, Failure>>(std::move(make)));
}

}  // namespace corvane
