#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/Result.hpp>

#include <future>
#include <memory>
#include <optional>
#include <utility>

namespace corvane {

/// Subscribes and gives the result as a std::future. The subscription runs to its end even if the future is
/// dropped. A failure is part of the result, not an exception, so that it crosses threads as a plain value.
template <class Value, class Failure>
std::future<Result<Value, Failure>> toFuture(const AnyPublisher<Value, Failure>& publisher) {
  struct Pending {
    std::promise<Result<Value, Failure>> promise;
    std::optional<Value> value;
  };
  auto pending = std::make_shared<Pending>();
  auto future = pending->promise.get_future();
  auto subscription = publisher.sink(
      [pending](Completion<Failure> completion) {
        pending->promise.set_value(completion.isFinished()
                                       ? Result<Value, Failure>::success(*std::move(pending->value))
                                       : Result<Value, Failure>::failure(std::move(completion).error()));
      },
      [pending](Value value) { pending->value.emplace(std::move(value)); });
  subscription.release();
  return future;
}

/// Subscribes and waits. For programs without an event loop; never call it on a thread that the result needs.
/// Errors: throws the failure as an AnyError, on the waiting thread.
template <class Value, class Failure>
Value get(const AnyPublisher<Value, Failure>& publisher) {
  auto result = toFuture(publisher).get();
  if (!result) throw AnyError(std::move(result).error());
  return std::move(result).value();
}

}  // namespace corvane
