#include "HTTPFixture.hpp"
#include "Hanging.hpp"
#include "ReleasedHandler.hpp"
#include "StuckResolver.hpp"
#include "support/FullBacklog.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace corvane::test {
namespace {

using namespace std::chrono_literals;

TEST(Cancelling, BeforeTheAnswerReleasesTheHandlerAndHangsUp) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  HTTPFixture http;
  ReleasedHandler handler;
  const auto ticket = http.client->send(makeRequest("GET", server.url()), handler.handler());
  hanging.waitForArrival();
  ticket->cancel();
  EXPECT_TRUE(handler.isReleased());
  hanging.waitForDeparture();
}

TEST(Cancelling, WithinTheBodyReleasesTheHandlerAndHangsUp) {
  Hanging hanging("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
  const ScriptedServer server(hanging.script());
  HTTPFixture http;
  ReleasedHandler handler;
  const auto ticket = http.client->send(makeRequest("GET", server.url()), handler.handler());
  hanging.waitForArrival();
  ticket->cancel();
  EXPECT_TRUE(handler.isReleased());
  hanging.waitForDeparture();
}

TEST(Cancelling, WithinTheHandshakeReleasesTheHandlerAndHangsUp) {
  std::promise<void> arrived;
  std::promise<void> left;
  const ScriptedServer server([&](ScriptedConnection& connection) {
    arrived.set_value();
    connection.waitForEnd();
    left.set_value();
  });
  HTTPFixture http;
  ReleasedHandler handler;
  const auto ticket = http.client->send(
      makeRequest("GET", "https://127.0.0.1:" + std::to_string(server.port()) + "/"), handler.handler());
  arrived.get_future().wait();
  ticket->cancel();
  EXPECT_TRUE(handler.isReleased());
  EXPECT_EQ(left.get_future().wait_for(30s), std::future_status::ready);
}

TEST(Cancelling, WithinTheNameLookupHoldsUpNobody) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  const StuckResolver resolver;  // outlives the network: not even that waits for it
  HTTPFixture http;
  ReleasedHandler handler;
  const auto ticket = http.client->send(makeRequest("GET", "https://www.stuck.test/"), handler.handler());
  resolver.waitForLookups(1);
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  ticket->cancel();
  EXPECT_TRUE(handler.isReleased());
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
}

TEST(Cancelling, WithinTheConnectReleasesTheHandlerAndGivesTheConnectUp) {
  const FullBacklog port;
  HTTPFixture http;
  ReleasedHandler handler;
  const auto ticket =
      http.client->send(makeRequest("GET", "http://" + port.address() + "/"), handler.handler());
  port.waitForConnecting();
  EXPECT_FALSE(handler.isReleased());
  ticket->cancel();
  EXPECT_TRUE(handler.isReleased());
  port.waitForNobodyConnecting();
}

TEST(Dropping, TheNetworkWithinANameLookupDoesNotWaitForIt) {
  const StuckResolver resolver;
  HTTPFixture http;
  ReleasedHandler handler;
  const auto ticket = http.client->send(makeRequest("GET", "https://www.stuck.test/"), handler.handler());
  resolver.waitForLookups(1);
}

TEST(ConnectLimit, EndsANameLookupWithoutWaitingForIt) {
  HTTPLimits limits;
  limits.connect = 50ms;
  const StuckResolver resolver;
  HTTPFixture http(limits);
  EXPECT_THAT(http.get("https://www.stuck.test/"), IsURLError(-1001));
}

// The answer comes, but only once the request has been cancelled: a call that had begun before would be none too late.
TEST(Cancelling, RightAfterSendingNeverCalls) {
  std::atomic<bool> cancelled{false};
  const ScriptedServer server([&](ScriptedConnection& connection) {
    for (auto request = connection.readRequest(); !request.empty(); request = connection.readRequest()) {
      while (request.starts_with("GET /cancelled") && !cancelled) std::this_thread::yield();
      if (!connection.send(httpAnswer("ok"))) return;
    }
  });
  HTTPFixture http;
  std::atomic<int> calls{0};
  for (int i = 0; i < 200; ++i) {
    cancelled = false;
    const auto ticket =
        http.client->send(makeRequest("GET", server.url("/cancelled")), [&](const Answer&) { ++calls; });
    ticket->cancel();
    cancelled = true;
    EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));  // gives a late call the time to come
  }
  EXPECT_EQ(calls, 0);
}

TEST(Cancelling, AfterTheAnswerDoesNothing) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  AwaitedAnswer answer;
  const auto ticket = http.client->send(makeRequest("GET", server.url()), answer.handler());
  EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
  ticket->cancel();
  ticket->cancel();
}

TEST(Cancelling, AllOfAClientLeavesTheOtherClientsAlone) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  std::promise<void> release;
  const auto released = release.get_future().share();
  const ScriptedServer patient([&](ScriptedConnection& connection) {
    connection.readRequest();
    released.wait();
    connection.send(httpAnswer("ok"));
  });
  HTTPFixture http;
  const auto other = http.network.makeClient();
  AwaitedAnswer kept;
  const auto keptTicket = other->send(makeRequest("GET", patient.url()), kept.handler());
  std::vector<ReleasedHandler> handlers(10);
  std::vector<std::shared_ptr<Cancellable>> tickets;
  for (auto& handler : handlers)
    tickets.push_back(http.client->send(makeRequest("GET", server.url()), handler.handler()));
  hanging.waitForArrival(10);

  http.client->cancelAll();
  for (const auto& handler : handlers) EXPECT_TRUE(handler.isReleased());
  hanging.waitForDeparture(10);
  release.set_value();
  EXPECT_THAT(kept.wait(), IsAnswer(200, "ok"));
}

TEST(Cancelling, ARequestThatWaitsForItsTurnNeverLeaves) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  HTTPFixture http;
  std::vector<ReleasedHandler> handlers(70);  // more than run at once
  std::vector<std::shared_ptr<Cancellable>> tickets;
  for (auto& handler : handlers)
    tickets.push_back(http.client->send(makeRequest("GET", server.url()), handler.handler()));
  hanging.waitForArrival(64);
  http.client->cancelAll();
  hanging.waitForDeparture(64);
  EXPECT_EQ(server.connections(), 64);
}

TEST(Dropping, AClientReleasesItsHandlers) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  HTTPFixture http;
  ReleasedHandler handler;
  const auto ticket = http.client->send(makeRequest("GET", server.url()), handler.handler());
  hanging.waitForArrival();
  http.client.reset();
  EXPECT_TRUE(handler.isReleased());
  hanging.waitForDeparture();
  ticket->cancel();
}

TEST(Dropping, TheLastClientWithinItsHandlerEndsTheNetwork) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  const auto pool = std::make_shared<PoolQueue>();
  auto network = std::make_unique<CurlNetwork>(CurlNetwork::Options{{}, "", "Corvane/test (gzip)", pool});
  auto client = network->makeClient();
  network.reset();
  AwaitedAnswer answer;
  HTTPClient* const sender = client.get();
  auto owner = std::make_shared<std::shared_ptr<HTTPClient>>(std::move(client));
  const auto ticket =
      sender->send(makeRequest("GET", server.url()), [owner, finish = answer.handler()](Answer value) {
        owner->reset();
        finish(std::move(value));
      });
  EXPECT_THAT(answer.wait(), IsAnswer(200, "ok"));
}

TEST(Dropping, TheLastClientByAReleasedHandlerEndsTheNetwork) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  const auto pool = std::make_shared<PoolQueue>();
  auto client = CurlNetwork({{}, "", "Corvane/test (gzip)", pool}).makeClient();
  HTTPClient* const sender = client.get();
  const auto ticket = sender->send(makeRequest("GET", server.url()), [owner = std::move(client)](Answer) {});
  hanging.waitForArrival();
  ticket->cancel();
  hanging.waitForDeparture();
}

TEST(Dropping, ANetworkThatWasNeverUsedStartsNothing) {
  const HTTPFixture http;
}

}  // namespace
}  // namespace corvane::test
