#include "integration/http/HTTPFixture.hpp"
#include "integration/http/Hanging.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

namespace corvane::test {
namespace {

/// Ends the program while a static network has a handshake and a request under way.
void exitWithWorkUnderWay() {
  static Hanging hanging;
  static const ScriptedServer server(hanging.script());
  static const ScriptedServer silent([](ScriptedConnection& connection) { connection.waitForEnd(); });
  static HTTPFixture http;
  static std::vector<std::shared_ptr<Cancellable>> tickets;
  const auto send = [](std::string url) {
    tickets.push_back(http.client->send(makeRequest("GET", std::move(url)), [](Answer) {}));
  };
  send(server.url());
  send("https://127.0.0.1:" + std::to_string(silent.port()) + "/");
  hanging.waitForArrival();
  silent.waitForConnections(1);
  std::exit(0);
}

TEST(Exit, WithWorkUnderWayInAStaticNetworkIsClean) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exitWithWorkUnderWay(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace corvane::test
