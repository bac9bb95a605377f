#include "oauth/JSONSessionArchive.hpp"
#include "oauth/OAuthSession.hpp"
#include "unit/adapters/oauth/ManualClock.hpp"
#include "unit/adapters/oauth/ScriptedHTTPClient.hpp"
#include "unit/adapters/oauth/ThreadQueue.hpp"

#include <gmock/gmock.h>

#include <atomic>
#include <barrier>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace corvane::test {
namespace {

constexpr auto tokens = R"({"access_token":"new","token_type":"Bearer","expires_in":0})";

struct SessionRaces : ::testing::Test {
  std::shared_ptr<ScriptedHTTPClient> http = std::make_shared<ScriptedHTTPClient>();
  std::shared_ptr<ThreadQueue> pool = std::make_shared<ThreadQueue>();
  ManualClock clock;

  std::shared_ptr<OAuthSession> expiredSession() {
    OAuthGrant grant;
    grant.clientID = "client";
    grant.tokenEndpoint = "https://oauth2.example/token";
    grant.accessToken = Secret("old");
    grant.refreshToken = Secret("refresh");
    return std::make_shared<OAuthSession>(std::move(grant), http, pool, clock.clock());
  }
};

TEST_F(SessionRaces, AnswerAgainstCancelGivesEachWaiterOneAnswerOrNone) {
  for (int round = 0; round < 500; ++round) {
    const auto session = expiredSession();
    std::atomic<int> first{0};
    std::atomic<int> second{0};
    auto cancelled = session->accessToken({}, [&](auto) { ++first; });
    const auto kept = session->accessToken({}, [&](auto) { ++second; });
    const auto exchange = http->next();
    std::barrier line(2);
    std::thread answering([&] {
      line.arrive_and_wait();
      exchange->answer(200, tokens);
    });
    line.arrive_and_wait();
    cancelled.cancel();
    answering.join();
    EXPECT_LE(first, 1);
    EXPECT_EQ(second, 1);
  }
}

TEST_F(SessionRaces, AnswerAgainstTheLastCancelLeavesTheSessionUsable) {
  for (int round = 0; round < 500; ++round) {
    const auto session = expiredSession();
    std::atomic<int> calls{0};
    auto only = session->accessToken({}, [&](auto) { ++calls; });
    const auto exchange = http->next();
    std::barrier line(2);
    std::thread answering([&] {
      line.arrive_and_wait();
      exchange->answer(200, tokens);
    });
    line.arrive_and_wait();
    only.cancel();
    answering.join();
    EXPECT_LE(calls, 1);
    const auto again = session->accessToken({}, [&](auto result) { EXPECT_TRUE(result); });
    http->next()->answer(200, tokens);
  }
}

TEST_F(SessionRaces, ManyThreadsAskWhileAnswersComeAndArchivesAreMade) {
  constexpr int threads = 4;
  constexpr int rounds = 500;
  const auto session = expiredSession();
  const JSONSessionArchive archive(http, pool, clock.clock(), {});
  std::atomic<int> answered{0};
  std::vector<std::thread> asking;
  for (int i = 0; i < threads; ++i)
    asking.emplace_back([&] {
      for (int round = 0; round < rounds; ++round) {
        std::atomic<bool> done{false};
        const auto waiting = session->accessToken(Secret("new"), [&](auto) {
          ++answered;
          done = true;
          done.notify_one();
        });
        auto abandoned = session->accessToken({}, [](auto) {});
        archive.encode(*session);
        done.wait(false);
      }
    });
  std::thread answering([&] {
    for (;;) {
      const auto exchange = http->next();
      if (exchange->request.url.empty()) return;
      exchange->answer(200, tokens);
    }
  });
  for (auto& thread : asking) thread.join();
  static_cast<void>(http->send({}, nullptr));  // tells the answering thread to end
  answering.join();
  EXPECT_EQ(answered, threads * rounds);
}

}  // namespace
}  // namespace corvane::test
