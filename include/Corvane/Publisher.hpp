#pragma once

#include <Corvane/AnyCancellable.hpp>
#include <Corvane/Completion.hpp>

#include <memory>

namespace corvane {

/// Where a publisher sends its events: at most one value, then one completion, one call at a time.
template <class Value, class Failure>
class Receiver {
 public:
  virtual ~Receiver() = default;
  virtual void receive(Value value) = 0;
  virtual void complete(Completion<Failure> completion) = 0;
};

/// What stands behind an `AnyPublisher`: one class per way of making or changing events.
///
/// Immutable; `subscribe` may be called any number of times from any thread. It may send events before it
/// returns. If it throws, it has sent no event and sends none later.
template <class Value, class Failure>
class Publisher {
 public:
  virtual ~Publisher() = default;
  virtual std::shared_ptr<Cancellable> subscribe(
      std::shared_ptr<Receiver<Value, Failure>> receiver) const = 0;
};

}  // namespace corvane
