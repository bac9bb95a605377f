#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/ExceptionErrors.hpp>

#include <atomic>
#include <coroutine>
#include <memory>
#include <new>
#include <optional>
#include <utility>

/// `co_await publisher`: subscribes, and resumes the coroutine with the value or throws the failure.
///
///     const About about = co_await drive->getAbout();
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
    const auto answer = makeAnswer(waiting);
    answer_ = answer;
    try {
      subscription_ = publisher_.sink(
          [answer](Completion<Failure> completion) {
            if (completion.isFailure()) answer->error.emplace(std::move(completion).error());
            answer->arrive();
          },
          [answer](Value value) { answer->value.emplace(std::move(value)); });
    } catch (...) {
      answer->abandon();
      throw;
    }
    return answer->suspend();  // another thread may destroy this awaiter from here on
  }

  /// Errors: the failure, as an AnyError; `MissingValueError` for a publisher that finishes without
  /// a value.
  Value await_resume() {
    if (answer_->error) throw AnyError(*std::move(answer_->error));
    if (!answer_->value) throw AnyError(MissingValueError{});
    return *std::move(answer_->value);
  }

 private:
  // Shared with the callbacks, which another thread may still call when the coroutine is gone.
  struct Answer {
    enum class State { open, suspended, arrived, abandoned };

    explicit Answer(std::coroutine_handle<> handle) : waiting(handle) {}

    void arrive() {
      if (state.exchange(State::arrived) == State::suspended) waiting.resume();
    }
    bool suspend() noexcept {
      State expected = State::open;
      return state.compare_exchange_strong(expected, State::suspended);
    }
    void abandon() noexcept { state.store(State::abandoned); }

    std::optional<Value> value;
    std::optional<Failure> error;
    std::atomic<State> state{State::open};
    const std::coroutine_handle<> waiting;
  };

  static std::shared_ptr<Answer> makeAnswer(std::coroutine_handle<> waiting) {
    try {
      return std::make_shared<Answer>(waiting);
    } catch (const std::bad_alloc&) {
      throw outOfMemory();
    }
  }

  AnyPublisher<Value, Failure> publisher_;
  std::shared_ptr<Answer> answer_;
  AnyCancellable subscription_;
};

template <class Value, class Failure>
PublisherAwaiter<Value, Failure> operator co_await(AnyPublisher<Value, Failure> publisher) {
  return PublisherAwaiter<Value, Failure>(std::move(publisher));
}

}  // namespace corvane
