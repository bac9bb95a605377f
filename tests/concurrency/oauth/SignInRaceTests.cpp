#include "unit/adapters/oauth/SignInFixture.hpp"

#include <gmock/gmock.h>

#include <barrier>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace corvane::test {
namespace {

/// Does all of them at the same time.
template <class... Actions>
void together(Actions... actions) {
  std::barrier line(sizeof...(Actions));
  std::vector<std::thread> threads;
  (threads.emplace_back([&line, actions] {
    line.arrive_and_wait();
    actions();
  }),
   ...);
  for (auto& thread : threads) thread.join();
}

TEST(SignInRaces, CallbackAgainstDismissalEndsItOnce) {
  for (int round = 0; round < 200; ++round) {
    SignIn signIn;
    signIn.start();
    const auto callback = signIn.callback("error=access_denied&state=" + signIn.parameter("state"));
    const auto host = signIn.host();
    together([&] { roundTrip(host, callback); }, [&] { signIn.presenter->dismiss(); });
    const auto outcome = signIn.outcome();  // a second one would throw
    EXPECT_TRUE(outcome.error);
  }
}

/// Spins, as a sleep would be far too coarse.
void spinFor(std::chrono::microseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  while (std::chrono::steady_clock::now() < end) continue;
}

// The answer takes some steps and threads to its end; the cancellation meets it `delay` later, wherever it is.
// Tells whether the handler was called.
bool raceAnswerAgainstCancel(std::chrono::microseconds delay) {
  SignIn signIn;
  signIn.start();
  const RawClient browser(signIn.host());
  browser.send(signIn.goodCallback());
  const auto exchange = signIn.http->next();
  const auto tokens = signIn.tokens().dump();
  auto outcome = signIn.promise->get_future();
  together([&] { exchange->answer(200, tokens); },
           [&] {
             spinFor(delay);
             signIn.service->cancel();
           });
  std::promise<void> poolIsDone;
  signIn.pool->async([&poolIsDone] { poolIsDone.set_value(); });
  poolIsDone.get_future().wait();
  EXPECT_TRUE(signIn.handlerLife.expired()) << "a cancelled sign-in has kept its handler";
  const auto page = browser.receiveAll();
  EXPECT_FALSE(RawClient(signIn.host()).isConnected());
  signIn.service = nullptr;
  const bool wasCalled = outcome.wait_for(std::chrono::seconds{0}) == std::future_status::ready;
  if (wasCalled) {  // a second call would have ended the program: the promise throws on the pool's thread
    const auto told = outcome.get();
    EXPECT_FALSE(told.error);
    EXPECT_TRUE(told.session && told.session->userEmail() == "ada@example.com") << "half an outcome";
  }
  const bool sawSuccess = page.starts_with("HTTP/1.1 302 ");
  EXPECT_TRUE(sawSuccess || page.empty()) << page;
  EXPECT_TRUE(sawSuccess || !wasCalled) << "the host has a session that the browser was not told of";
  return wasCalled;
}

TEST(SignInRaces, AnswerAgainstCancelIsSilentOrWhole) {
  int called = 0;
  int silent = 0;
  for (int round = 0; round < 200 || (round < 2'000 && (called == 0 || silent == 0)); ++round)
    ++(raceAnswerAgainstCancel(std::chrono::microseconds{round % 50 * 20}) ? called : silent);
  EXPECT_GT(called, 0) << "the cancellation always came first";
  EXPECT_GT(silent, 0) << "the answer always came first";
}

TEST(SignInRaces, CallbackDismissalAndTheServicesEndAtOnce) {
  for (int round = 0; round < 200; ++round) {
    SignIn signIn;
    signIn.start();
    const auto callback = signIn.goodCallback();
    const auto host = signIn.host();
    together([&] { roundTrip(host, callback); }, [&] { signIn.presenter->dismiss(); },
             [&] { signIn.service = nullptr; });
    EXPECT_FALSE(RawClient(host).isConnected());
  }
}

TEST(SignInRaces, ManySignInsAtOnceEachGetTheirOwnAccount) {
  constexpr int count = 8;
  const auto signInOnce = [](int number) {
    SignIn signIn;
    signIn.start();
    auto claims = goodClaims(signIn.parameter("nonce"), signIn.clock.wall());
    const auto email = "user" + std::to_string(number) + "@example.com";
    claims["email"] = email;
    signIn.comeBack(200, goodTokens(idToken(claims)).dump());
    EXPECT_EQ(signIn.outcome().session->userEmail(), email);
  };
  std::vector<std::thread> threads;
  for (int number = 0; number < count; ++number) threads.emplace_back(signInOnce, number);
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace corvane::test
