#include "asio/AsioQueues.hpp"
#include "integration/http/HTTPFixture.hpp"
#include "integration/http/Hanging.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <latch>
#include <random>

namespace corvane::test {
namespace {

/// How often the handlers made by it were called or released uncalled.
struct Outcomes {
  std::atomic<int> called{0};
  std::atomic<int> released{0};

  HTTPHandler handler() {
    struct Once {
      explicit Once(Outcomes& all) : outcomes(all) {}
      ~Once() { ++(called ? outcomes.called : outcomes.released); }
      Outcomes& outcomes;
      bool called = false;
    };
    return [once = std::make_unique<Once>(*this)](Answer) {
      EXPECT_FALSE(once->called);
      once->called = true;
    };
  }
};

std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

TEST(Race, BetweenAnswerAndCancelHasOneWinner) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  Outcomes outcomes;
  constexpr int rounds = 2000;
  {
    HTTPFixture http;
    std::mt19937 random(1);
    for (int i = 0; i < rounds; ++i) {
      const auto ticket = http.client->send(makeRequest("GET", server.url()), outcomes.handler());
      const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 400);
      while (std::chrono::steady_clock::now() < end) {
      }
      ticket->cancel();
    }
  }
  EXPECT_EQ(outcomes.called + outcomes.released, rounds);
  EXPECT_GT(outcomes.released, 0);
}

TEST(Race, AmongThreadsThatSendCancelResetAndDropLosesNoHandler) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  Outcomes outcomes;
  constexpr int threads = 4;
  constexpr int rounds = 300;
  {
    HTTPFixture http;
    std::latch start(threads);
    std::vector<std::thread> workers;
    for (unsigned seed = 0; seed < threads; ++seed)
      workers.emplace_back([&, seed] {
        std::mt19937 random(seed);
        auto own = http.network.makeClient();
        std::vector<std::shared_ptr<Cancellable>> tickets;
        start.arrive_and_wait();
        for (int i = 0; i < rounds; ++i) {
          auto& client = random() % 2 ? *own : *http.client;
          tickets.push_back(client.send(makeRequest("GET", server.url()), outcomes.handler()));
          switch (random() % 16) {
            case 0:
              own = http.network.makeClient();
              break;
            case 1:
              client.cancelAll();
              break;
            case 2:
              client.resetSession();
              break;
            case 3:
            case 4:
              tickets[random() % tickets.size()]->cancel();
              break;
            default:
              break;
          }
        }
      });
    for (auto& worker : workers) worker.join();
    EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  }
  EXPECT_EQ(outcomes.called + outcomes.released, threads * rounds);
}

TEST(Race, BetweenABlockThatSendsAndTheEndOfItsNetworkHarmsNeither) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  Outcomes outcomes;
  constexpr int rounds = 200;
  LinuxQueues queues = makeLinuxQueues();
  for (int i = 0; i < rounds; ++i) {
    const auto sent = std::make_shared<std::latch>(1);
    CurlNetwork network({{}, "", "Corvane/test (gzip)", queues.userInitiated});
    const auto client = network.makeClient();
    queues.taskPool->async(
        [sent, &sender = *client, url = server.url(), handler = outcomes.handler()]() mutable {
          static_cast<void>(sender.send(makeRequest("GET", url), std::move(handler)));
          sent->count_down();
        });
    sent->wait();
  }
  queues = {};
  EXPECT_EQ(outcomes.called + outcomes.released, rounds);
}

TEST(Race, AThousandRequestsAtTeardownAreReleased) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  Outcomes outcomes;
  {
    HTTPFixture http;
    std::vector<std::shared_ptr<Cancellable>> tickets;
    for (int i = 0; i < 1000; ++i)
      tickets.push_back(http.client->send(makeRequest("GET", server.url()), outcomes.handler()));
    hanging.waitForArrival(10);
  }
  EXPECT_EQ(outcomes.called, 0);
  EXPECT_EQ(outcomes.released, 1000);
}

TEST(Race, LastReferenceDroppedByManyHandlersEndsTheNetworkOnce) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  for (int round = 0; round < 50; ++round) {
    const auto pool = std::make_shared<PoolQueue>();
    std::latch done(4);
    {
      CurlNetwork network({{}, "", "Corvane/test (gzip)", pool});
      for (int i = 0; i < 4; ++i) {
        auto client = network.makeClient();
        HTTPClient& sender = *client;
        auto ticket =
            sender.send(makeRequest("GET", server.url()), [owner = std::move(client), &done](Answer) mutable {
              owner.reset();
              done.count_down();
            });
      }
    }
    done.wait();
  }
}

TEST(Race, SendingAndCancellingForLongLeavesNoDescriptorBehind) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  Outcomes outcomes;
  {
    HTTPFixture http;
    const auto round = [&](int count) {
      for (int i = 0; i < count; ++i)
        http.client->send(makeRequest("DELETE", server.url()), outcomes.handler())->cancel();
      http.client->resetSession();
      EXPECT_THAT(http.get("https://127.0.0.1:1/"), IsURLError(-1004));
      server.waitUntilAlone();  // its ends of the connections count too
    };
    round(10);
    const auto before = openDescriptors();
    round(5000);
    EXPECT_LE(openDescriptors(), before + 10);  // one may just be coming in
  }
  EXPECT_EQ(outcomes.called + outcomes.released, 5010);
}

}  // namespace
}  // namespace corvane::test
