#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/Result.hpp>

#include <atomic>
#include <coroutine>
#include <optional>
#include <utility>

/// `co_await publisher`: subscribes, and resumes the coroutine with the value or throws the failure.
///
/// The coroutine resumes on the thread that delivers. Destroying it while it waits cancels the subscription;
/// that is for the thread that would resume it, as for any coroutine.
namespace corvane {

template <class Value, class Failure>
class PublisherAwaiter {
 public:
  explicit PublisherAwaiter(AnyPublisher<Value, Failure> publisher) : publisher_(std::move(publisher)) {}

  bool await_ready() const noexcept { return false; }

  bool await_suspend(std::coroutine_handle<> waiting) {
    waiting_ = waiting;
    subscription_ = publisher_.sink(
        [this](Completion<Failure> completion) {
          if (completion.isFailure()) error_.emplace(std::move(completion).error());
          // Whoever comes second goes on: this call, or await_suspend if the answer was there at once.
          if (met_.exchange(true)) waiting_.resume();
        },
        [this](Value value) { value_.emplace(std::move(value)); });
    return !met_.exchange(true);
  }

  Value await_resume() {
    if (error_) throw AnyError(*std::move(error_));
    return *std::move(value_);
  }

 private:
  AnyPublisher<Value, Failure> publisher_;
  std::coroutine_handle<> waiting_;
  std::optional<Value> value_;
  std::optional<Failure> error_;
  std::atomic<bool> met_{false};
  AnyCancellable subscription_;
};

template <class Value, class Failure>
PublisherAwaiter<Value, Failure> operator co_await(AnyPublisher<Value, Failure> publisher) {
  return PublisherAwaiter<Value, Failure>(std::move(publisher));
}

}  // namespace corvane
