#include "Pending.hpp"
#include "Samples.hpp"

#include <gtest/gtest.h>

#include <unistd.h>
#include <csignal>
#include <thread>

namespace corvane::cli::test {
namespace {

TEST(Await, ValueThatIsThereAtOnceIsReturned) {
  Interrupt interrupt;
  EXPECT_EQ(await(AnyPublisher<int>::just(7), interrupt), 7);
}

TEST(Await, FailureIsThrownInTheWaitingThread) {
  Interrupt interrupt;
  try {
    await(AnyPublisher<int>::failing(NSError("Test", 42)), interrupt);
    FAIL() << "no error";
  } catch (const AnyError& error) {
    EXPECT_EQ(error.code(), 42);
  }
}

TEST(Await, AnswerFromAnotherThreadWakesTheWaiter) {
  Interrupt interrupt;
  std::thread worker;
  const auto publisher = AnyPublisher<int>::create(
      [&worker](Subscriber<int, AnyError> subscriber) {
        worker = std::thread([subscriber] { subscriber.succeed(7); });
        return AnyCancellable();
      },
      DropRule<AnyError>{NSError("Test", 1), {}});
  EXPECT_EQ(await(publisher, interrupt), 7);
  worker.join();
}

TEST(Await, InterruptCancelsTheOperation) {
  Interrupt interrupt;
  const auto cancelled = std::make_shared<bool>(false);
  ::kill(::getpid(), SIGINT);
  EXPECT_THROW(await(unanswered<int>(cancelled), interrupt), Interrupted);
  EXPECT_TRUE(*cancelled);
}

}  // namespace
}  // namespace corvane::cli::test
