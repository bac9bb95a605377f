#include "EndOfBlock.hpp"
#include "asio/AsioQueues.hpp"
#include "integration/http/HTTPFixture.hpp"
#include "integration/http/Hanging.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <latch>
#include <mutex>
#include <optional>
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

/// A client whose requests are each sent as the last act of a block of the pool, so that a worker waits for the answer.
class BlockSender {
 public:
  BlockSender(std::shared_ptr<Queue> pool, CurlNetwork& network, std::string url)
      : pool_(std::move(pool)), client_(network.makeClient()), url_(std::move(url)) {}

  HTTPClient& client() const { return *client_; }

  void send(HTTPHandler handler) {
    pool_->async([client = client_, tickets = tickets_, url = url_, handler = std::move(handler)]() mutable {
      const EndOfBlock end;
      auto ticket = client->send(makeRequest("GET", url), std::move(handler));
      const std::lock_guard lock(tickets->mutex);
      tickets->all.push_back(std::move(ticket));
    });
  }
  void cancelSome(std::size_t number) {
    std::shared_ptr<Cancellable> ticket;
    {
      const std::lock_guard lock(tickets_->mutex);
      if (tickets_->all.empty()) return;
      ticket = tickets_->all[number % tickets_->all.size()];
    }
    ticket->cancel();
  }

 private:
  struct Tickets {
    std::mutex mutex;
    std::vector<std::shared_ptr<Cancellable>> all;
  };
  std::shared_ptr<Queue> pool_;
  std::shared_ptr<HTTPClient> client_;
  std::string url_;
  std::shared_ptr<Tickets> tickets_ = std::make_shared<Tickets>();
};

TEST(Race, AmongBlocksThatEndWithRequestsAndThreadsThatCancelResetAndDropLosesNoHandler) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  Outcomes outcomes;
  constexpr int threads = 4;
  constexpr int rounds = 300;
  {
    LinuxQueues queues = makeLinuxQueues();
    CurlNetwork network({{}, "", "Corvane/test (gzip)", queues.userInitiated});
    std::latch start(threads);
    std::vector<std::thread> posters;
    for (unsigned seed = 0; seed < threads; ++seed)
      posters.emplace_back([&, seed] {
        std::mt19937 random(seed);
        std::optional<BlockSender> sender(std::in_place, queues.taskPool, network, server.url());
        start.arrive_and_wait();
        for (int i = 0; i < rounds; ++i) {
          sender->send(outcomes.handler());
          switch (random() % 16) {
            case 0:
              sender.emplace(queues.taskPool, network, server.url());
              break;
            case 1:
              sender->client().cancelAll();
              break;
            case 2:
              sender->client().resetSession();
              break;
            case 3:
            case 4:
              sender->cancelSome(random());
              break;
            case 5:
            case 6: {  // lets a worker come to wait
              AwaitedAnswer answer;
              sender->send(answer.handler());
              EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
              break;
            }
            default:
              break;
          }
        }
      });
    for (auto& poster : posters) poster.join();
    AwaitedAnswer answer;
    BlockSender sender(queues.taskPool, network, server.url());
    sender.send(answer.handler());
    EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
  }
  EXPECT_EQ(outcomes.called + outcomes.released, threads * rounds);
}

TEST(Race, BetweenAWorkerThatWaitsAndTheEndOfItsNetworkHarmsNeither) {
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
          {
            const EndOfBlock end;
            static_cast<void>(sender.send(makeRequest("GET", url), std::move(handler)));
          }
          sent->count_down();
        });
    sent->wait();
  }
  queues = {};
  EXPECT_EQ(outcomes.called + outcomes.released, rounds);
}

TEST(Race, BetweenAWorkersWaitAndBlocksThatNeedAllWorkersLosesNoAnswer) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  LinuxQueues queues = makeLinuxQueues();
  CurlNetwork network({{}, "", "Corvane/test (gzip)", queues.userInitiated});
  BlockSender sender(queues.taskPool, network, server.url());
  std::mt19937 random(1);
  for (int i = 0; i < 500; ++i) {
    AwaitedAnswer answer;
    sender.send(answer.handler());
    for (auto left = random() % 8; left > 0; --left) queues.userInitiated->async([] {});
    EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
  }
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
