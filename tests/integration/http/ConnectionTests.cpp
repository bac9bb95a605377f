#include "HTTPFixture.hpp"

#include <gtest/gtest.h>

#include <atomic>

namespace corvane::test {
namespace {

using namespace std::chrono_literals;

TEST(Connection, IsKeptForTheNextRequest) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  for (int i = 0; i < 5; ++i) EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_EQ(server.connections(), 1);
}

TEST(Connection, OfOneClientIsNotUsedByAnother) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  const auto other = http.network.makeClient();
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_THAT(HTTPFixture::perform(*other, makeRequest("GET", server.url())), IsAnswer(200, "ok"));
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_EQ(server.connections(), 2);
}

TEST(Connection, IsClosedByAReset) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  http.client->resetSession();
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_EQ(server.connections(), 2);
}

/// Says when the client closed the connection.
class Departure {
 public:
  ScriptedServer::Script script() {
    return [this](ScriptedConnection& connection) {
      while (!connection.readRequest().empty()) connection.send(httpAnswer("ok"));
      const std::lock_guard lock(mutex_);
      ++gone_;
      changed_.notify_all();
    };
  }
  bool waitFor(int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, 30s, [&] { return gone_ >= count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int gone_ = 0;
};

TEST(Connection, IsClosedAtOnceByAResetAndWithItsClient) {
  Departure departure;
  const ScriptedServer server(departure.script());
  HTTPFixture http;
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  http.client->resetSession();
  EXPECT_TRUE(departure.waitFor(1));
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  http.client.reset();
  EXPECT_TRUE(departure.waitFor(2));
}

/// Answers one request of each connection and closes it, silently for the client.
ScriptedServer::Script closeAfterEachAnswer(std::atomic<int>& requests) {
  return [&](ScriptedConnection& connection) {
    connection.readRequest();
    ++requests;
    connection.send(httpAnswer("ok"));
  };
}

TEST(Connection, ClosedByTheServerIsNoTroubleForReads) {
  std::atomic<int> requests{0};
  const ScriptedServer server(closeAfterEachAnswer(requests));
  HTTPFixture http;
  for (int i = 0; i < 20; ++i) EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_EQ(requests, 20);
}

/// Takes the second request of the first connection and hangs up without an answer, as a server does that times a
/// kept-alive connection out in the very moment.
ScriptedServer::Script hangUpOnTheSecondRequest(std::atomic<int>& requests) {
  return [&](ScriptedConnection& connection) {
    for (int i = 0; !connection.readRequest().empty(); ++i) {
      ++requests;
      if (connection.number() == 0 && i == 1) return connection.reset();
      connection.send(httpAnswer("ok"));
    }
  };
}

TEST(Connection, LostUnderAReadIsReplaced) {
  std::atomic<int> requests{0};
  const ScriptedServer server(hangUpOnTheSecondRequest(requests));
  HTTPFixture http;
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_EQ(requests, 3);
}

TEST(Connection, LostUnderAWriteFailsItAndTheWriteLeftOnce) {
  for (const auto* method : {"PATCH", "DELETE", "POST"}) {
    std::atomic<int> writes{0};
    const ScriptedServer server([&](ScriptedConnection& connection) {
      for (auto request = connection.readRequest(); !request.empty(); request = connection.readRequest()) {
        if (!request.starts_with("GET")) {
          ++writes;
          return connection.reset();
        }
        connection.send(httpAnswer("ok"));
      }
    });
    HTTPFixture http;
    EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));  // leaves a connection to be tempted by
    EXPECT_THAT(http.perform(makeRequest(method, server.url(), "{}")), IsURLError(-1005)) << method;
    EXPECT_EQ(writes, 1) << method;
  }
}

TEST(Connection, ThatAWriteOpenedServesTheReadsAfterIt) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  EXPECT_THAT(http.perform(makeRequest("PATCH", server.url(), "{}")), IsAnswer(200, "ok"));
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_EQ(server.connections(), 1);
}

TEST(Connection, AThousandRequestsAtOnceShareAFew) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  std::vector<AwaitedAnswer> answers(1000);
  std::vector<std::shared_ptr<Cancellable>> tickets;
  for (auto& answer : answers)
    tickets.push_back(http.client->send(makeRequest("GET", server.url()), answer.handler()));
  for (auto& answer : answers) EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
  EXPECT_LE(server.connections(), 64);
}

}  // namespace
}  // namespace corvane::test
