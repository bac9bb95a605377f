#pragma once

#include <Corvane/AnyError.hpp>
#include <Corvane/AnyPublisher.hpp>
#include <Corvane/Result.hpp>

#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
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
  // Not by a std::promise, which makes a system call and two allocations more. Shared, as a subscription that throws may
  // have handed its callbacks on.
  struct Pending {
    std::mutex mutex;
    std::condition_variable ended;
    bool isOver = false;
    std::optional<Value> value;
    std::optional<Failure> error;
  };
  const auto pending = std::make_shared<Pending>();
  auto subscription = publisher.sink(
      [pending](Completion<Failure> completion) {
        if (completion.isFailure()) pending->error.emplace(std::move(completion).error());
        {
          const std::lock_guard lock(pending->mutex);
          pending->isOver = true;
        }
        pending->ended.notify_one();
      },
      [pending](Value value) { pending->value.emplace(std::move(value)); });
  subscription.release();
  std::unique_lock lock(pending->mutex);
  pending->ended.wait(lock, [&] { return pending->isOver; });
  if (pending->error) throw AnyError(*std::move(pending->error));
  return *std::move(pending->value);
}

}  // namespace corvane
