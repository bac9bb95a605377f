// Who waits for answers: the worker whose block ended with a request, or the network thread.
#include "EndOfBlock.hpp"
#include "HTTPFixture.hpp"
#include "Hanging.hpp"
#include "ReleasedHandler.hpp"
#include "asio/AsioQueues.hpp"
#include "support/Threads.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace corvane::test {
namespace {

using namespace std::chrono_literals;

using Ticket = std::shared_ptr<Cancellable>;

std::unique_ptr<CurlNetwork> networkOn(std::shared_ptr<Queue> pool, HTTPLimits limits = {}) {
  return std::make_unique<CurlNetwork>(
      CurlNetwork::Options{limits, {}, "Corvane/test (gzip)", std::move(pool)});
}

/// A network on a pool of the platform's workers, which never become more.
struct DriverFixture {
  explicit DriverFixture(HTTPLimits limits = {})
      : queues(makeLinuxQueues(neverMore())),
        network(networkOn(queues.userInitiated, limits)),
        client(network->makeClient()) {}

  void post(Block block) const { queues.taskPool->async(std::move(block)); }

  /// Sends from a block of the pool, which ends with that.
  static Ticket sendFromBlock(Queue& pool, HTTPClient& sender, const std::string& url, HTTPHandler handler) {
    const auto ticket = std::make_shared<std::promise<Ticket>>();
    pool.async([&sender, url, ticket, handler = std::move(handler)]() mutable {
      const EndOfBlock end;
      ticket->set_value(sender.send(makeRequest("GET", url), std::move(handler)));
    });
    return ticket->get_future().get();
  }
  Ticket sendFromBlock(const std::string& url, HTTPHandler handler) const {
    return sendFromBlock(*queues.taskPool, *client, url, std::move(handler));
  }
  /// Sends from the test's own thread.
  Ticket send(const std::string& url, HTTPHandler handler) const {
    return client->send(makeRequest("GET", url), std::move(handler));
  }

  static QueueTuning neverMore() {
    QueueTuning tuning;
    tuning.mostWorkers = firstWorkers();
    return tuning;
  }

  LinuxQueues queues;
  std::unique_ptr<CurlNetwork> network;
  std::shared_ptr<HTTPClient> client;
};

/// All workers of a pool, kept until told to go on.
class AllWorkers {
 public:
  /// Returns once all of them are here.
  explicit AllWorkers(Queue& pool) {
    for (int i = 0; i < firstWorkers(); ++i)
      pool.async([shared = shared_] {
        shared->arrived.arrive_and_wait();
        shared->released.wait();
      });
    shared_->arrived.wait();
  }
  ~AllWorkers() { shared_->release.set_value(); }
  AllWorkers(const AllWorkers&) = delete;
  AllWorkers& operator=(const AllWorkers&) = delete;

 private:
  struct Shared {
    std::latch arrived{firstWorkers()};
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
  };
  const std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

/// How often the network thread has been woken, or rather gone to sleep.
int sleepsOfTheNetworkThread() {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream status(task.path() / "status");
    bool isNetwork = false;
    for (std::string line; std::getline(status, line);) {
      if (line == "Name:\tcorvane-http") isNetwork = true;
      constexpr std::string_view sleeps = "voluntary_ctxt_switches:\t";
      if (isNetwork && line.starts_with(sleeps)) return std::stoi(line.substr(sleeps.size()));
    }
  }
  ADD_FAILURE() << "no network thread";
  return 0;
}

/// Requests of which each is the last act of the block that brings the answer to the one before.
class Chain {
 public:
  Chain(HTTPClient& client, std::string url) : client_(client), url_(std::move(url)) {}

  /// Gives the threads that made the requests and took their answers.
  std::vector<std::thread::id> run(Queue& pool, int length) {
    left_ = length;
    pool.async([this] { sendNext(); });
    over_->get_future().wait();
    return std::exchange(threads_, {});
  }

 private:
  void sendNext() {
    threads_.push_back(std::this_thread::get_id());
    if (left_-- == 0) return std::shared_ptr(over_)->set_value();
    const EndOfBlock end;
    static_cast<void>(client_.send(makeRequest("GET", url_), [this](const Answer& answer) {
      EXPECT_THAT(answer, IsAnswer(200, "ok"));
      sendNext();
    }));
  }

  HTTPClient& client_;
  const std::string url_;
  int left_ = 0;
  std::vector<std::thread::id> threads_;
  const std::shared_ptr<std::promise<void>> over_ = std::make_shared<std::promise<void>>();
};

TEST(Driving, IsTheSendingWorkersWhereItsBlockEndsWithTheRequest) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  const DriverFixture http;
  const auto threads = Chain(*http.client, server.url()).run(*http.queues.taskPool, 50);
  EXPECT_THAT(threads, testing::Each(threads.front()));
}

TEST(Driving, ByAWorkerDoesNotWakeTheNetworkThread) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  const DriverFixture http;
  Chain(*http.client, server.url()).run(*http.queues.taskPool, 1);
  const int before = sleepsOfTheNetworkThread();
  Chain(*http.client, server.url()).run(*http.queues.taskPool, 100);
  EXPECT_LE(sleepsOfTheNetworkThread(), before + 5);  // for the begin, and when idle connections are due
}

TEST(Driving, IsTheNetworkThreadsWhereTheBlockGoesOn) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  std::promise<Ticket> ticket;
  const DriverFixture http;
  ReleasedHandler handler;
  http.post([&] {
    auto sent = http.send(server.url(), handler.handler());
    hanging.waitForArrival();
    ticket.set_value(std::move(sent));
  });
  ticket.get_future().get()->cancel();
}

TEST(Driving, IsTheNetworkThreadsWhereTheBlockLeavesANextBlockToo) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  std::promise<Ticket> ticket;
  const DriverFixture http;
  ReleasedHandler handler;
  http.post([&] {
    Ticket sent;
    {
      const EndOfBlock end;
      sent = http.send(server.url(), handler.handler());
    }
    const EndOfBlock end;
    http.post([&, sent = std::move(sent)]() mutable {
      hanging.waitForArrival();
      ticket.set_value(std::move(sent));
    });
  });
  ticket.get_future().get()->cancel();
}

TEST(Driving, IsTheNetworkThreadsOnAPoolOfOtherWorkers) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  const HTTPFixture http;
  AwaitedAnswer answer;
  const auto ticket = DriverFixture::sendFromBlock(*http.pool, *http.client, server.url(), answer.handler());
  EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
}

TEST(Driving, ByAWorkerServesTheRequestsOfOthers) {
  Hanging hanging;
  const ScriptedServer silent(hanging.script());
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  const DriverFixture http;
  ReleasedHandler handler;
  const auto unanswered = http.sendFromBlock(silent.url(), handler.handler());
  hanging.waitForArrival();
  for (int i = 0; i < 3; ++i) {
    AwaitedAnswer answer;
    const auto ticket = http.send(server.url(), answer.handler());
    EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
  }
  unanswered->cancel();
  EXPECT_TRUE(handler.isReleased());
  hanging.waitForDeparture();
}

// Its last act is over, but what it holds may still be slow to drop.
TEST(Driving, OfTheRequestsOfOthersDoesNotWaitForTheEndOfABlockThatHasSent) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  std::promise<void> sent;
  std::promise<void> dropped;
  const DriverFixture http;
  AwaitedAnswer first;
  AwaitedAnswer second;
  http.post([&] {
    const EndOfBlock end;
    const auto ticket = http.send(server.url(), first.handler());
    sent.set_value();
    dropped.get_future().wait();
  });
  sent.get_future().wait();
  const auto ticket = http.send(server.url(), second.handler());
  EXPECT_THAT(second.wait(), IsAnswer(200, "ok"));
  EXPECT_THAT(first.wait(), IsAnswer(200, "ok"));
  dropped.set_value();
}

TEST(Driving, ByAWorkerEndsWhenBlocksNeedAllWorkersAndTheNetworkThreadGoesOn) {
  std::promise<void> release;
  std::promise<void> arrived;
  const ScriptedServer server([&](ScriptedConnection& connection) {
    connection.readRequest();
    arrived.set_value();
    release.get_future().wait();
    connection.send(httpAnswer("late", "Connection: close\r\n"));
    connection.waitForEnd();  // the client's, which has read the answer
  });
  const DriverFixture http;
  AwaitedAnswer answer;
  const auto ticket = http.sendFromBlock(server.url(), answer.handler());
  arrived.get_future().wait();
  {
    const AllWorkers busy(*http.queues.userInitiated);
    release.set_value();
    server.waitUntilAlone();
  }
  EXPECT_THAT(answer.wait(), IsAnswer(200, "late"));
}

TEST(Driving, ByAWorkerHangsUpWhenItsRequestIsCancelled) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  const DriverFixture http;
  ReleasedHandler handler;
  const auto ticket = http.sendFromBlock(server.url(), handler.handler());
  hanging.waitForArrival();
  ticket->cancel();
  EXPECT_TRUE(handler.isReleased());
  hanging.waitForDeparture();
}

TEST(Driving, OfARequestThatItsOwnBlockCancelsComesToNothing) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  std::promise<void> cancelled;
  const DriverFixture http;
  ReleasedHandler handler;
  http.post([&] {
    const EndOfBlock end;
    http.send(server.url(), handler.handler())->cancel();
    cancelled.set_value();
  });
  cancelled.get_future().wait();
  EXPECT_TRUE(handler.isReleased());
  AwaitedAnswer answer;
  const auto ticket = http.sendFromBlock(server.url(), answer.handler());
  EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
}

TEST(Driving, ByAWorkerClosesIdleConnectionsInTime) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPLimits limits;
  limits.idleConnection = 0s;
  const DriverFixture http(limits);
  for (int i = 0; i < 3; ++i) {
    Chain(*http.client, server.url()).run(*http.queues.taskPool, 3);
    server.waitUntilAlone();
  }
}

TEST(Driving, OfTwoNetworksAtOnceServesBoth) {
  Hanging hanging;
  const ScriptedServer silent(hanging.script());
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  const DriverFixture http;
  const auto otherNetwork = networkOn(http.queues.userInitiated);
  const auto other = otherNetwork->makeClient();
  ReleasedHandler handler;
  const auto unanswered = http.sendFromBlock(silent.url(), handler.handler());
  hanging.waitForArrival();
  for (int i = 0; i < 3; ++i) {
    AwaitedAnswer answer;
    const auto ticket =
        DriverFixture::sendFromBlock(*http.queues.taskPool, *other, server.url(), answer.handler());
    EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
  }
  unanswered->cancel();
  hanging.waitForDeparture();
}

TEST(Driving, ForTwoNetworksFromOneBlockServesBoth) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  std::vector<Ticket> tickets;
  const DriverFixture http;
  const auto otherNetwork = networkOn(http.queues.userInitiated);
  const auto other = otherNetwork->makeClient();
  AwaitedAnswer first;
  AwaitedAnswer second;
  http.post([&] {
    for (const auto& [sender, answer] : {std::pair(http.client, &first), std::pair(other, &second)}) {
      const EndOfBlock end;
      tickets.push_back(sender->send(makeRequest("GET", server.url()), answer->handler()));
    }
  });
  EXPECT_THAT(first.wait(), IsAnswer(200, "ok"));
  EXPECT_THAT(second.wait(), IsAnswer(200, "ok"));
}

long ownThreads() {
  return threadsNamed({"corvane-http", "corvane-worker", "corvane-clock"});
}

TEST(Driving, ByAWorkerEndsWithTheNetwork) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  DriverFixture http;
  ReleasedHandler handler;
  const auto ticket = http.sendFromBlock(server.url(), handler.handler());
  hanging.waitForArrival();
  http.client.reset();
  EXPECT_TRUE(handler.isReleased());
  http.network.reset();
  hanging.waitForDeparture();
  http.queues = {};
  EXPECT_TRUE(eventually([] { return ownThreads() == 0; }));
}

TEST(Driving, IsNobodysWhereTheBlockThatHasSentDropsTheNetwork) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  std::weak_ptr<Cancellable> request;
  ReleasedHandler handler;
  {
    std::promise<void> dropped;
    DriverFixture http;
    http.post([&] {
      const EndOfBlock end;
      request = http.send(server.url(), handler.handler());
      http.client.reset();
      http.network.reset();
      dropped.set_value();
    });
    dropped.get_future().wait();
    EXPECT_TRUE(handler.isReleased());
  }
  EXPECT_TRUE(eventually([] { return ownThreads() == 0; }));
  EXPECT_TRUE(request.expired());  // or its token would stay in memory
}

TEST(Driving, IsTheNetworkThreadsOnceThePoolOfTheWorkerGoes) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  const DriverFixture http;
  auto others = makeLinuxQueues();
  ReleasedHandler handler;
  const auto ticket =
      DriverFixture::sendFromBlock(*others.taskPool, *http.client, server.url(), handler.handler());
  hanging.waitForArrival();
  others = {};
  EXPECT_FALSE(handler.isReleased());
  ticket->cancel();
  hanging.waitForDeparture();
}

}  // namespace
}  // namespace corvane::test
