#pragma once

#include "Failure.hpp"
#include "Interrupt.hpp"

#include <Corvane/AnyPublisher.hpp>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace corvane::cli {

/// A running operation whose answer the main thread will wait for; answers come in on other threads.
///
/// The operation starts here. Dropping this cancels it.
template <class Value, class Error = AnyError>
class Pending {
 public:
  enum class Wake { answered, interrupted };

  explicit Pending(const AnyPublisher<Value, Error>& publisher)
      : subscription_(publisher.sink(
            [state = state_](Completion<Error> completion) {
              const std::lock_guard lock(state->mutex);
              state->completion.emplace(std::move(completion));
              state->changed.notify_all();
            },
            [state = state_](Value value) {
              const std::lock_guard lock(state->mutex);
              state->value.emplace(std::move(value));
            })) {}

  /// Waits for the answer or the interrupt, whichever is first.
  Wake wait(Interrupt& interrupt) {
    bool interrupted = false;
    const auto watch = interrupt.watch([&interrupted, state = state_] {
      const std::lock_guard lock(state->mutex);
      interrupted = true;
      state->changed.notify_all();
    });
    return waitUntil([&interrupted] { return interrupted; });
  }

  /// Waits for the answer alone.
  void waitForAnswer() {
    waitUntil([] { return false; });
  }

  /// The value of an answered operation; throws its error as an AnyError.
  Value take() {
    const std::lock_guard lock(state_->mutex);
    if (state_->completion->isFailure()) throw AnyError(state_->completion->error());
    return std::move(*state_->value);
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<Value> value;
    std::optional<Completion<Error>> completion;
  };

  template <class Predicate>
  Wake waitUntil(Predicate interrupted) {
    std::unique_lock lock(state_->mutex);
    while (!state_->completion) {
      if (interrupted()) return Wake::interrupted;
      state_->changed.wait(lock);
    }
    return Wake::answered;
  }

  std::shared_ptr<State> state_ = std::make_shared<State>();
  AnyCancellable subscription_;
};

/// Runs an operation to its answer. Throws its error as an AnyError, or Interrupted, which cancels it.
template <class Value, class Error>
Value await(const AnyPublisher<Value, Error>& publisher, Interrupt& interrupt) {
  Pending<Value, Error> pending(publisher);
  if (pending.wait(interrupt) == Pending<Value, Error>::Wake::interrupted) throw Interrupted();
  return pending.take();
}

}  // namespace corvane::cli
