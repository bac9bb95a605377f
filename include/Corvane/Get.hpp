#pragma once

#include <Corvane/AnyError.hpp>
#include <Corvane/AnyPublisher.hpp>
#include <Corvane/Completion.hpp>
#include <Corvane/ExceptionErrors.hpp>
#include <Corvane/Publisher.hpp>
#include <Corvane/Result.hpp>

#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

namespace corvane {

/// Subscribes and gives the result as a std::future. The subscription runs to its end even if the future is
/// dropped. A failure is part of the result, not an exception, so that it crosses threads as a plain value.
/// Errors: throws std::bad_alloc if there is no memory for the future itself. A publisher that
/// finishes without a value fails with `MissingValueError`, or with a std::future_error if
/// `Failure` cannot hold that.
template <class Value, class Failure>
std::future<Result<Value, Failure>> toFuture(const AnyPublisher<Value, Failure>& publisher) {
  struct Pending {
    std::promise<Result<Value, Failure>> promise;
    std::optional<Value> value;

    void complete(Completion<Failure> completion) {
      using Outcome = Result<Value, Failure>;
      if (completion.isFailure()) {
        promise.set_value(Outcome::failure(std::move(completion).error()));
      } else if (value) {
        promise.set_value(Outcome::success(*std::move(value)));
      } else if constexpr (HoldsAnyError<Failure>) {
        promise.set_value(Outcome::failure(Failure(AnyError(MissingValueError{}))));
      } else {
        promise.set_exception(
            std::make_exception_ptr(std::future_error(std::future_errc::broken_promise)));
      }
    }
  };
  auto pending = std::make_shared<Pending>();
  auto future = pending->promise.get_future();
  auto subscription = publisher.sink(
      [pending](Completion<Failure> completion) { pending->complete(std::move(completion)); },
      [pending](Value value) { pending->value.emplace(std::move(value)); });
  subscription.release();
  return future;
}

/// Where a publisher leaves its answer for the thread that waits for it. Shared by both: a publisher that throws while
/// it is subscribed to may still tell its receiver of it later.
template <class Value, class Failure>
class PendingAnswer final : public Receiver<Value, Failure> {
 public:
  void receive(Value value) noexcept override {
    const std::lock_guard lock(mutex_);
    if (!isOver_) value_.emplace(std::move(value));
  }

  void complete(Completion<Failure> completion) noexcept override {
    const std::lock_guard lock(mutex_);
    if (std::exchange(isOver_, true)) return;
    if (completion.isFailure()) error_.emplace(std::move(completion).error());
    ended_.notify_one();
  }

  Value take() {
    std::unique_lock lock(mutex_);
    ended_.wait(lock, [this] { return isOver_; });
    if (error_) throw AnyError(*std::move(error_));
    if (!value_) throw AnyError(MissingValueError{});
    return *std::move(value_);
  }

 private:
  std::mutex mutex_;
  std::condition_variable ended_;
  bool isOver_ = false;
  std::optional<Value> value_;
  std::optional<Failure> error_;
};

/// Subscribes and waits. For programs without an event loop; never call it on a thread that the result needs.
///
///     const About about = get(drive->getAbout());
///
/// Errors: throws the failure as an AnyError, on the waiting thread; `MissingValueError` if the
/// publisher finishes without a value or lets go without an answer.
template <class Value, class Failure>
Value get(const AnyPublisher<Value, Failure>& publisher) {
  std::shared_ptr<PendingAnswer<Value, Failure>> answer;
  std::shared_ptr<Receiver<Value, Failure>> receiver;
  try {
    answer = std::make_shared<PendingAnswer<Value, Failure>>();
    const auto letGo = [answer](auto*) { answer->complete(Completion<Failure>::finished()); };
    receiver = std::shared_ptr<Receiver<Value, Failure>>(answer.get(), letGo);
  } catch (const std::bad_alloc&) {
    throw outOfMemory();
  }
  const auto subscription = publisher.subscribe(std::move(receiver));
  return answer->take();
}

}  // namespace corvane
