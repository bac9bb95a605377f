#include <Corvane/Get.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "support/ErrorMatchers.hpp"
#include "support/TestPublisher.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

template <class Future>
bool isReady(const Future& future) {
  return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

template <class Failure>
AnyPublisher<int, Failure> finishingWithoutAValue() {
  class Finishes final : public Publisher<int, Failure> {
   public:
    std::shared_ptr<Cancellable> subscribe(
        std::shared_ptr<Receiver<int, Failure>> receiver) const override {
      receiver->complete(Completion<Failure>::finished());
      return nullptr;
    }
  };
  return AnyPublisher<int, Failure>(std::make_shared<const Finishes>());
}

class LetsGo final : public Publisher<int, AnyError> {
 public:
  std::shared_ptr<Cancellable> subscribe(std::shared_ptr<Receiver<int, AnyError>>) const override {
    return nullptr;
  }
};

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

TEST(Get, ReturnsAnAnswerThatIsGivenWhileItSubscribes) {
  const auto immediate = AnyPublisher<int>::create(
      [](const Subscriber<int, AnyError>& subscriber) {
        subscriber.succeed(7);
        return AnyCancellable();
      },
      DropRule<AnyError>{TestPublisher<int>::dropped(), {}});
  EXPECT_EQ(get(immediate), 7);
}

TEST(Get, ThrowsTheErrorOfWorkThatIsDropped) {
  const auto dropped =
      AnyPublisher<int>::create([](const Subscriber<int, AnyError>&) { return AnyCancellable(); },
                                DropRule<AnyError>{AnyError(NSError("D", 3)), {}});
  EXPECT_EQ(errorOf([&] { get(dropped); })->code(), 3);
}

TEST(Get, DoesNotWaitForAPublisherThatLetsGoOfIt) {
  const AnyPublisher<int> publisher(std::make_shared<const LetsGo>());
  EXPECT_TRUE(errorOf([&] { get(publisher); })->as<MissingValueError>());
}

TEST(Get, ThrowsAnErrorWhenThePublisherFinishesWithoutAValue) {
  const auto error = errorOf([] { get(finishingWithoutAValue<AnyError>()); });
  ASSERT_TRUE(error);
  EXPECT_TRUE(error->as<MissingValueError>());
  EXPECT_STREQ(error->what(), "Google Drive operation failed: It ended without a result.");
}

TEST(ToFuture, HoldsAnErrorWhenThePublisherFinishesWithoutAValue) {
  auto any = toFuture(finishingWithoutAValue<AnyError>());
  EXPECT_TRUE(any.get().error().as<MissingValueError>());
  auto number = toFuture(finishingWithoutAValue<int>());
  EXPECT_THROW(number.get(), std::future_error) << "an int cannot hold the error";
}

TEST(Get, ThrowsOutOfMemoryAndAMissingThreadAsAnAnyError) {
  const auto throwing = [](auto exception) {
    return AnyPublisher<int>::create(
        [exception](const Subscriber<int, AnyError>&) -> AnyCancellable { throw exception; },
        DropRule<AnyError>{TestPublisher<int>::dropped(), {}});
  };
  EXPECT_THAT(*errorOf([&] { get(throwing(std::bad_alloc())); }),
              IsError("NSPOSIXErrorDomain", ENOMEM,
                      "Google Drive operation failed: There is not enough memory."));
  const std::system_error noThread(EAGAIN, std::generic_category());
  EXPECT_THAT(*errorOf([&] { get(throwing(noThread)); }),
              IsError("NSPOSIXErrorDomain", EAGAIN,
                      "Google Drive operation failed: Resource temporarily unavailable."));
}

TEST(Get, MayBeToldAfterThePublisherThrew) {
  const ThrowingPublisher<int> source;
  EXPECT_THROW(get(source.publisher()), std::logic_error);
  source.tellLate();
}
