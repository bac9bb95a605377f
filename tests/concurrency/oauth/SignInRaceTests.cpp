#include "unit/adapters/oauth/SignInFixture.hpp"

#include <gmock/gmock.h>

#include <barrier>
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

TEST(SignInRaces, AnswerAgainstCancelIsSilentOrWhole) {
  for (int round = 0; round < 200; ++round) {
    SignIn signIn;
    signIn.start();
    const RawClient browser(signIn.host());
    browser.send(signIn.goodCallback());
    const auto exchange = signIn.http->next();
    const auto tokens = signIn.tokens().dump();
    together([&] { exchange->answer(200, tokens); }, [&] { signIn.service->cancel(); });
    signIn.service = nullptr;
    browser.receiveAll();
    EXPECT_TRUE(RawClient(signIn.host()).isConnected() == false);
  }
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
