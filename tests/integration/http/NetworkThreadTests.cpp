// The network thread beside the platform's own workers.
#include "HTTPFixture.hpp"
#include "Hanging.hpp"
#include "OwnProcess.hpp"
#include "ReleasedHandler.hpp"
#include "asio/AsioQueues.hpp"
#include "support/Threads.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <latch>
#include <memory>
#include <string>
#include <utility>

namespace corvane::test {
namespace {

using Ticket = std::shared_ptr<Cancellable>;

/// A network on the platform's workers, which never become more.
struct NetworkThreadTest : testing::Test {
  void post(Block block) const { queues.taskPool->async(std::move(block)); }

  static QueueTuning neverMore() {
    QueueTuning tuning;
    tuning.mostWorkers = firstWorkers();
    return tuning;
  }
  static std::unique_ptr<CurlNetwork> networkOn(std::shared_ptr<Queue> pool) {
    return std::make_unique<CurlNetwork>(
        CurlNetwork::Options{{}, {}, "Corvane/test (gzip)", std::move(pool)});
  }

  LinuxQueues queues = makeLinuxQueues(neverMore());
  std::unique_ptr<CurlNetwork> network = networkOn(queues.userInitiated);
  std::shared_ptr<HTTPClient> client = network->makeClient();
};

TEST_F(NetworkThreadTest, BringsAnAnswerToABlockThatWaitsForIt) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  std::promise<void> over;
  post([&] {
    AwaitedAnswer answer;
    const auto ticket = client->send(makeRequest("GET", server.url()), answer.handler());
    EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
    over.set_value();
  });
  over.get_future().wait();
}

TEST_F(NetworkThreadTest, ReadsAnswersWhileAllWorkersAreBusy) {
  const ScriptedServer server([](ScriptedConnection& connection) {
    connection.readRequest();
    connection.send(httpAnswer("ok", "Connection: close\r\n"));
    connection.waitForEnd();  // the client's, which has read the answer
  });
  const auto arrived = std::make_shared<std::latch>(firstWorkers() + 1);
  std::promise<void> release;
  const auto released = release.get_future().share();
  for (int i = 0; i < firstWorkers(); ++i)
    queues.userInitiated->async([arrived, released] {
      arrived->arrive_and_wait();
      released.wait();
    });
  arrived->arrive_and_wait();
  AwaitedAnswer answer;
  const auto ticket = client->send(makeRequest("GET", server.url()), answer.handler());
  server.waitForConnections(1);
  server.waitUntilAlone();
  release.set_value();
  EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
}

TEST_F(NetworkThreadTest, ServesARequestBesideOneThatHangs) {
  Hanging hanging;
  const ScriptedServer silent(hanging.script());
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  const auto otherNetwork = networkOn(queues.userInitiated);
  const auto other = otherNetwork->makeClient();
  ReleasedHandler handler;
  const auto unanswered = client->send(makeRequest("GET", silent.url()), handler.handler());
  hanging.waitForArrival();
  for (const auto& sender : {client, other, client})
    EXPECT_THAT(HTTPFixture::perform(*sender, makeRequest("GET", server.url())),
                IsAnswer(200, "ok"));
  unanswered->cancel();
  EXPECT_TRUE(handler.isReleased());
  hanging.waitForDeparture();
}

TEST_F(NetworkThreadTest, EndsWithItsNetworkAndTheLastClient) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  ReleasedHandler handler;
  const auto ticket = client->send(makeRequest("GET", server.url()), handler.handler());
  hanging.waitForArrival();
  network.reset();
  EXPECT_FALSE(handler.isReleased());
  client.reset();
  EXPECT_TRUE(handler.isReleased());
  EXPECT_TRUE(eventually([] { return threadsNamed({"corvane-http"}) == 0; }));
  hanging.waitForDeparture();
}

TEST_F(NetworkThreadTest, DroppedByTheBlockThatSentLeavesNoRequestBehind) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  std::weak_ptr<Cancellable> request;
  ReleasedHandler handler;
  std::promise<void> dropped;
  post([&] {
    request = client->send(makeRequest("GET", server.url()), handler.handler());
    client->cancelAll();
    client.reset();
    network.reset();
    dropped.set_value();
  });
  dropped.get_future().wait();
  EXPECT_TRUE(handler.isReleased());
  EXPECT_TRUE(eventually([] { return threadsNamed({"corvane-http"}) == 0; }));
  EXPECT_TRUE(eventually([&] { return request.expired(); }));  // or its token would stay in memory
}

TEST_F(NetworkThreadTest, IsMissedAfterAForkWithoutWaiting) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  ASSERT_THAT(HTTPFixture::perform(*client, makeRequest("GET", server.url())), IsAnswer(200, "ok"));
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(30);
    try {
      static_cast<void>(client->send(makeRequest("GET", server.url()), [](Answer) {}));
      ::_exit(1);
    } catch (const AnyError& error) {
      if (!error.as<ForkedProcessError>()) ::_exit(2);
    }
    client.reset();
    network.reset();
    ::_exit(0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(HTTPFixture::perform(*client, makeRequest("GET", server.url())), IsAnswer(200, "ok"));
}

}  // namespace
}  // namespace corvane::test
