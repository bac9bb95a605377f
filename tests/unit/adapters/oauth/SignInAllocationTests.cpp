// Memory that runs out on the listener's thread: each allocation fails in turn, once alone and once with all after it,
// and each time the sign-in ends, the handler is called once, and the host lives on.
#include "SignInFixture.hpp"
#include "support/AllocationOperators.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>

namespace {

enum class Shortage { none, once, lasting };

std::atomic<Shortage> shortage{Shortage::none};
std::atomic<int> remaining{0};
std::atomic<bool> isReached{false};
thread_local bool isSpared = false;  // every thread but the listener's

}  // namespace

void* corvane::test::allocate(std::size_t size) noexcept {
  if (!isSpared && shortage != Shortage::none && remaining-- <= 0 &&
      (shortage == Shortage::lasting || !isReached)) {
    isReached = true;
    return nullptr;
  }
  return std::malloc(size == 0 ? 1 : size);
}

void corvane::test::release(void* memory) noexcept {
  std::free(memory);
}

namespace corvane::test {
namespace {

/// Answers on the thread that asks.
class PromptHTTPClient final : public HTTPClient {
 public:
  std::shared_ptr<Cancellable> send(HTTPRequest, HTTPHandler handler) override {
    handler(Result<HTTPResponse, NSError>::success(std::move(response)));
    return nullptr;
  }
  void cancelAll() override {}
  void resetSession() override {}

  HTTPResponse response;
};

class SignInAllocation : public ::testing::TestWithParam<Shortage> {
 protected:
  void SetUp() override { isSpared = true; }

  /// Lets a client act with one allocation more on the listener's thread each time, until there is memory enough.
  /// `check` is called with the outcome and whether memory ran out.
  void exhaust(const std::function<std::string(SignIn&)>& request,
               const std::function<void(const SignIn::Outcome&, bool)>& check) {
    constexpr int enough = 2'000;
    int allocations = 0;
    for (bool isEnough = false; !isEnough && allocations < enough; ++allocations) {
      SCOPED_TRACE(std::to_string(allocations) + " allocations");
      SignIn signIn;
      signIn.pool->async([] { isSpared = true; });
      const auto http = std::make_shared<PromptHTTPClient>();
      signIn.otherHTTP = http;
      signIn.start();
      http->response.status = 200;
      http->response.body = dataFromText(signIn.tokens().dump());
      const auto text = request(signIn);
      const auto host = signIn.host();
      // A first request, so that whatever is made once on the thread is there.
      roundTrip(host, getRequest(host, "/favicon.ico"));
      isReached = false;
      remaining = allocations;
      shortage = GetParam();
      roundTrip(host, text);
      const auto outcome = signIn.outcome();
      shortage = Shortage::none;
      isEnough = !isReached;
      check(outcome, isReached);
      EXPECT_FALSE(RawClient(host).isConnected());
      EXPECT_TRUE(signIn.presenter->presentation->isOver);
      if (HasFailure()) return;
    }
    EXPECT_GT(allocations, 5);
    EXPECT_LT(allocations, enough);
  }

  static bool isMemoryError(const std::optional<NSError>& error) {
    return error && error->domain() == "NSPOSIXErrorDomain" && error->code() == ENOMEM;
  }
};

TEST_P(SignInAllocation, ThatFailsOverARefusalEndsTheSignInInOneError) {
  exhaust([](SignIn& one) { return one.callback("error=server_error&state=" + one.parameter("state")); },
          [](const SignIn::Outcome& outcome, bool ranOut) {
            EXPECT_FALSE(outcome.session);
            ASSERT_TRUE(outcome.error);
            EXPECT_TRUE(ranOut || !isMemoryError(outcome.error));
          });
}

TEST_P(SignInAllocation, ThatFailsOverACodeEndsTheSignInInOneOutcome) {
  exhaust([](SignIn& one) { return one.goodCallback(); },
          [](const SignIn::Outcome& outcome, bool ranOut) {
            if (!ranOut) {
              EXPECT_TRUE(outcome.session);
              EXPECT_FALSE(outcome.error);
            } else if (!outcome.session) {
              EXPECT_TRUE(isMemoryError(outcome.error));
            }
          });
}

TEST_P(SignInAllocation, ThatFailsOverASecondVisitEndsTheSignInInOneError) {
  exhaust(
      [](SignIn& one) {
        one.visit();
        const auto target = one.presenter->oneUseURL.substr(7 + one.host().size());
        return getRequest(one.host(), target);
      },
      [](const SignIn::Outcome& outcome, bool ranOut) {
        EXPECT_FALSE(outcome.session);
        ASSERT_TRUE(outcome.error);
        EXPECT_TRUE(ranOut || outcome.error->code() == signInOpenedTwiceCode);
      });
}

INSTANTIATE_TEST_SUITE_P(, SignInAllocation, ::testing::Values(Shortage::once, Shortage::lasting),
                         [](const auto& test) { return test.param == Shortage::once ? "Once" : "Lasting"; });

}  // namespace
}  // namespace corvane::test
