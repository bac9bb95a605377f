#include <Corvane/Get.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "support/ErrorMatchers.hpp"
#include "support/TestPublisher.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

template <class Future>
bool isReady(const Future& future) {
  return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

}  // namespace

TEST(ToFuture, HoldsAValueThatIsThereAtOnce) {
  auto future = toFuture(AnyPublisher<int>::just(7));
  ASSERT_TRUE(isReady(future));
  EXPECT_EQ(future.get().value(), 7);
}

TEST(ToFuture, HoldsAFailureAsAResult) {
  auto future = toFuture(AnyPublisher<int>::failing(NSError("D", 3)));
  ASSERT_TRUE(isReady(future));
  EXPECT_EQ(future.get().error().code(), 3);
}

TEST(ToFuture, WaitsForTheAnswer) {
  const TestPublisher<int> source;
  auto future = toFuture(source.publisher());
  EXPECT_FALSE(isReady(future));
  source.succeed(7);
  EXPECT_EQ(future.get().value(), 7);
}

TEST(ToFuture, DroppedLetsTheWorkRunToItsEnd) {
  const TestPublisher<int> source;
  { const auto dropped = toFuture(source.publisher()); }
  EXPECT_EQ(source.cancellations(), 0);
  source.succeed(7);
}

TEST(Get, ReturnsTheValue) {
  EXPECT_EQ(get(AnyPublisher<int>::just(7)), 7);
}

TEST(Get, ThrowsTheFailureAsAnAnyError) {
  using SignIn = GoogleDriveAuthorizationProviderError;
  EXPECT_EQ(errorOf([] { get(AnyPublisher<int>::failing(NSError("D", 3))); })->code(), 3);
  const auto typed = errorOf([] { get(AnyPublisher<int, SignIn>::failing(SignIn::accessDenied())); });
  EXPECT_EQ(typed->as<SignIn>()->kind(), SignIn::Case::accessDenied);
}

TEST(Get, WaitsForAnAnswerFromAnotherThread) {
  std::thread answering;
  const auto started = AnyPublisher<int>::create(
      [&](const Subscriber<int, AnyError>& subscriber) {
        answering = std::thread([subscriber] { subscriber.succeed(7); });
        return AnyCancellable();
      },
      DropRule<AnyError>{TestPublisher<int>::dropped(), {}});
  EXPECT_EQ(get(started), 7);
  answering.join();
}
