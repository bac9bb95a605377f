#include <Corvane/Await.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>

#include <gtest/gtest.h>

#include <coroutine>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "support/ErrorMatchers.hpp"
#include "support/TestPublisher.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

/// The least coroutine there is: it starts at once and is destroyed by its owner.
class Task {
 public:
  struct promise_type {
    Task get_return_object() { return Task(std::coroutine_handle<promise_type>::from_promise(*this)); }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_always final_suspend() noexcept { return {}; }
    void return_void() {}
    void unhandled_exception() { std::terminate(); }
  };

  explicit Task(std::coroutine_handle<promise_type> handle) : handle_(handle) {}
  Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  ~Task() {
    if (handle_) handle_.destroy();
  }
  bool done() const { return handle_.done(); }

 private:
  std::coroutine_handle<promise_type> handle_;
};

struct Outcome {
  std::optional<int> value;
  std::optional<AnyError> error;
  std::thread::id thread;
};

template <class Failure>
Task awaitInto(Outcome& outcome, AnyPublisher<int, Failure> publisher) {
  try {
    outcome.value = co_await std::move(publisher);
  } catch (const AnyError& error) {
    outcome.error = error;
  }
  outcome.thread = std::this_thread::get_id();
}

}  // namespace

TEST(Await, GivesAValueThatIsThereAtOnce) {
  Outcome outcome;
  const Task task = awaitInto(outcome, AnyPublisher<int>::just(7));
  EXPECT_TRUE(task.done());
  EXPECT_EQ(outcome.value, 7);
}

TEST(Await, ThrowsAFailureThatIsThereAtOnce) {
  Outcome outcome;
  const Task task = awaitInto(outcome, AnyPublisher<int>::failing(NSError("D", 3)));
  EXPECT_TRUE(task.done());
  EXPECT_EQ(outcome.error->code(), 3);
}

TEST(Await, WaitsForAValueAndGoesOnOnTheDeliveringThread) {
  const TestPublisher<int> source;
  Outcome outcome;
  const Task task = awaitInto(outcome, source.publisher());
  EXPECT_FALSE(task.done());
  std::thread::id delivering;
  std::thread([&] {
    delivering = std::this_thread::get_id();
    source.succeed(7);
  }).join();
  EXPECT_TRUE(task.done());
  EXPECT_EQ(outcome.value, 7);
  EXPECT_EQ(outcome.thread, delivering);
}

TEST(Await, WaitsForAFailure) {
  const TestPublisher<int> source;
  Outcome outcome;
  const Task task = awaitInto(outcome, source.publisher());
  source.fail(NSError("D", 3));
  EXPECT_TRUE(task.done());
  EXPECT_EQ(outcome.error->domain(), "D");
}

TEST(Await, ThrowsATypedFailureAsAnAnyErrorThatHoldsIt) {
  using SignIn = GoogleDriveAuthorizationProviderError;
  Outcome outcome;
  const Task task = awaitInto(outcome, AnyPublisher<int, SignIn>::failing(SignIn::userCancelled()));
  EXPECT_EQ(outcome.error->as<SignIn>()->kind(), SignIn::Case::userCancelled);
}

TEST(Await, DestroyedWhileItWaitsCancelsTheSubscription) {
  const TestPublisher<int> source;
  Outcome outcome;
  { const Task task = awaitInto(outcome, source.publisher()); }
  EXPECT_EQ(source.cancellations(), 1);
  source.succeed(7);
  EXPECT_EQ(outcome.value, std::nullopt);
}

TEST(Await, ThrowsAnErrorWhenThePublisherFinishesWithoutAValue) {
  Outcome outcome;
  const Task task = awaitInto(outcome, AnyPublisher<int>::create(
                                           [](const Subscriber<int, AnyError>& subscriber) {
                                             subscriber.finish();
                                             return AnyCancellable();
                                           },
                                           DropRule<AnyError>{TestPublisher<int>::dropped(), {}}));
  ASSERT_TRUE(task.done());
  ASSERT_TRUE(outcome.error);
  EXPECT_TRUE(outcome.error->as<MissingValueError>());
}

TEST(Await, IsNeverToldOnceSubscribingThrew) {
  const ThrowingPublisher<int> source;
  int resumptions = 0;
  const auto awaiting = [&]() -> Task {
    try {
      co_await source.publisher();
    } catch (const std::logic_error&) {
      ++resumptions;
    }
    co_await std::suspend_always();
    ++resumptions;  // whoever resumes it now should not
  };
  {
    const Task task = awaiting();
    EXPECT_EQ(resumptions, 1);
    EXPECT_FALSE(task.done());
    source.tellLate();
    EXPECT_EQ(resumptions, 1);
  }
}

TEST(Await, IsNotWrittenToWhenItIsGoneBeforeTheAnswerToldLate) {
  const ThrowingPublisher<int> source;
  {
    const auto awaiting = [&]() -> Task {
      try {
        co_await source.publisher();
      } catch (const std::logic_error&) {
      }
    };
    const Task task = awaiting();
    EXPECT_TRUE(task.done());
  }
  source.tellLate();  // AddressSanitizer sees a write to the frame that is gone
}

TEST(Await, WaitsForSeveralOneAfterTheOther) {
  const TestPublisher<int> source;
  int sum = 0;
  const auto both = [&]() -> Task {
    sum += co_await source.publisher();
    sum += co_await source.publisher();
  };
  const Task task = both();
  source.succeed(1);
  EXPECT_EQ(sum, 1);
  source.succeed(2);
  EXPECT_EQ(sum, 3);
  EXPECT_TRUE(task.done());
}
