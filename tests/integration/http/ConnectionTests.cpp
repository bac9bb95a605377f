#include "HTTPFixture.hpp"
#include "Hanging.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <charconv>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

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

TEST(Connection, LostUnderOneReadAfterAnotherIsReplacedEachTime) {
  std::atomic<int> requests{0};
  const ScriptedServer server([&](ScriptedConnection& connection) {
    connection.readRequest();
    ++requests;
    connection.send(httpAnswer("ok"));
    if (connection.readRequest().empty()) return;
    ++requests;
    connection.reset();
  });
  HTTPFixture http;
  for (int i = 0; i < 20; ++i) EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_EQ(requests, 39);
}

TEST(Connection, LostUnderARequestLeavesNothingToTheNextOnes) {
  const ScriptedServer server([](ScriptedConnection& connection) {
    for (auto request = connection.readRequest(); !request.empty(); request = connection.readRequest()) {
      if (request.starts_with("GET /lost")) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\nX-Lost: yes\r\n\r\nhalf");
        return;
      }
      connection.send(httpAnswer("ok"));
    }
  });
  HTTPFixture http;
  for (int i = 0; i < 3; ++i) {
    EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
    EXPECT_THAT(http.get(server.url("/lost")), IsURLError(-1005));
    const auto answer = http.get(server.url());
    ASSERT_THAT(answer, IsAnswer(200, "ok"));
    EXPECT_EQ(answer.value().header("x-lost"), "");
  }
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

/// The signals that each network thread of this process blocks, as the kernel's bit mask.
std::vector<std::uint64_t> networkThreadMasks() {
  std::vector<std::uint64_t> masks;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream status(task.path() / "status");
    bool isNetwork = false;
    for (std::string line; std::getline(status, line);) {
      if (line == "Name:\tcorvane-http") isNetwork = true;
      constexpr std::string_view blocked = "SigBlk:\t";
      if (isNetwork && line.starts_with(blocked)) {
        std::uint64_t mask = 0;
        std::from_chars(line.data() + blocked.size(), line.data() + line.size(), mask, 16);
        masks.push_back(mask);
      }
    }
  }
  return masks;
}

TEST(NetworkThread, IsOneForAllClientsAndTakesNoSignals) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  EXPECT_TRUE(networkThreadMasks().empty());  // not before it is needed
  std::vector<std::shared_ptr<HTTPClient>> clients;
  for (int i = 0; i < 5; ++i) {
    clients.push_back(http.network.makeClient());
    EXPECT_THAT(HTTPFixture::perform(*clients.back(), makeRequest("GET", server.url())), IsAnswer(200, "ok"));
  }
  const auto masks = networkThreadMasks();
  ASSERT_EQ(masks.size(), 1u);
  for (const int signal : {SIGPIPE, SIGINT, SIGTERM, SIGALRM, SIGCHLD, SIGHUP})
    EXPECT_TRUE(masks[0] >> (signal - 1) & 1) << signal;
}

// libcurl counts idle time in whole seconds, so this takes one.
TEST(Connection, IdleForTooLongIsNotUsedAgainByAClientThatIsBusy) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  const ScriptedServer slow([](ScriptedConnection& connection) {
    connection.readRequest();
    connection.endsWithin(1100ms);
    connection.send(httpAnswer("slow"));
  });
  const ScriptedServer silent([](ScriptedConnection& connection) { connection.waitForEnd(); });
  HTTPLimits limits;
  limits.idleConnection = 0s;
  HTTPFixture http(limits);
  AwaitedAnswer never;
  const auto busy = http.client->send(makeRequest("GET", silent.url()), never.handler());
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_THAT(http.get(slow.url()), IsAnswer(200, "slow"));
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_EQ(server.connections(), 2);
  busy->cancel();
}

TEST(Connection, IsClosedOnceItsClientHasBeenIdleForTooLong) {
  Departure departure;
  const ScriptedServer server(departure.script());
  HTTPLimits limits;
  limits.idleConnection = 0s;
  HTTPFixture http(limits);
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_TRUE(departure.waitFor(1));
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
}

TEST(Connection, OfAClientThatMayIdleForeverIsKept) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPLimits limits;
  limits.idleConnection = std::chrono::seconds::max();
  HTTPFixture http(limits);
  for (int i = 0; i < 2; ++i) EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_EQ(server.connections(), 1);
}

TEST(ConnectionsOfAProcess, AreAtMost256WhileRequestsRun) {
  Hanging hanging;
  const ScriptedServer server(hanging.script());
  HTTPFixture http;
  std::vector<std::shared_ptr<HTTPClient>> clients;
  std::vector<std::shared_ptr<Cancellable>> tickets;
  for (int i = 0; i < 5; ++i) {
    clients.push_back(http.network.makeClient());
    for (int j = 0; j < 64; ++j)
      tickets.push_back(clients.back()->send(makeRequest("GET", server.url()), [](Answer) {}));
  }
  hanging.waitForArrival(256);
  tickets.front()->cancel();
  hanging.waitForDeparture(1);
  hanging.waitForArrival(257);
  EXPECT_EQ(server.connections(), 257);
}

TEST(ConnectionsOfAProcess, ThatAreIdleTheLongestAreClosedBeyond256) {
  Departure departure;
  const ScriptedServer server(departure.script());
  HTTPFixture http;
  std::vector<std::shared_ptr<HTTPClient>> clients;
  const auto ask = [&](HTTPClient& client) {
    EXPECT_THAT(HTTPFixture::perform(client, makeRequest("GET", server.url())), IsAnswer(200, "ok"));
  };
  for (int i = 0; i < 260; ++i) {
    clients.push_back(http.network.makeClient());
    ask(*clients.back());
  }
  EXPECT_TRUE(departure.waitFor(4));
  for (std::size_t i = 4; i < clients.size(); ++i) ask(*clients[i]);
  EXPECT_EQ(server.connections(), 260);
}

// A count that kept what failed would close the connection at the end.
TEST(ConnectionsOfAProcess, ThatFailedDoNotCount) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  const auto other = http.network.makeClient();
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  for (int i = 0; i < 300; ++i)
    EXPECT_THAT(HTTPFixture::perform(*other, makeRequest("GET", "http://127.0.0.1:1/")),
                IsURLError(urlError::cannotConnectToHost));
  EXPECT_THAT(HTTPFixture::perform(*other, makeRequest("GET", server.url())), IsAnswer(200, "ok"));
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_EQ(server.connections(), 2);
}

TEST(Connection, IsNotInheritedByProgramsThatTheHostStarts) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  int found = 0;
  for (int descriptor = 0; descriptor < 1024; ++descriptor) {
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) != 0) continue;
    if (peer.sin_family != AF_INET || ntohs(peer.sin_port) != server.port()) continue;
    ++found;
    EXPECT_TRUE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
  }
  EXPECT_EQ(found, 1);
}

}  // namespace
}  // namespace corvane::test
