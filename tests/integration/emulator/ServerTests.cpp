#include <gmock/gmock.h>

#include "EmulatorFixture.hpp"

namespace corvane::tests {
namespace {

using emulator::Gate;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string about = "/drive/v3/about?fields=*";

class AnEmulatorServer : public EmulatorTest {};

TEST_F(AnEmulatorServer, KeepsAConnectionForManyRequests) {
  auto client = connect();
  for (int i = 0; i < 5; ++i) EXPECT_EQ(client.get(about, session).status, 200);
  for (const auto& entry : server.journal().entries()) EXPECT_EQ(entry.connection, 1U);
  connect().get(about, session);
  EXPECT_EQ(server.journal().entries().back().connection, 2U);
}

TEST_F(AnEmulatorServer, ClosesAConnectionWhenAsked) {
  auto client = connect();
  auto headers = session;
  headers.emplace_back("Connection", "close");
  EXPECT_EQ(client.get(about, headers).header("Connection"), "close");
  EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(AnEmulatorServer, ClosesIdleConnectionsWhenTheTestSaysSo) {
  auto client = connect();
  client.get(about, session);
  server.closeIdleConnections();
  EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(AnEmulatorServer, AnswersPipelinedRequestsInOrder) {
  auto client = connect();
  client.write("GET", about, session);
  client.write("GET", "/drive/v3/files/1nothing", session);
  EXPECT_EQ(client.read().status, 200);
  EXPECT_EQ(client.read().status, 404);
}

TEST_F(AnEmulatorServer, CompressesOnlyWhenAskedTwice) {
  const std::string list = "/drive/v3/files?pageSize=20";
  const auto plain = connect().get(list, session);
  auto headers = session;
  headers.emplace_back("Accept-Encoding", "gzip");
  EXPECT_EQ(connect().get(list, headers).header("Content-Encoding"), "");
  headers.emplace_back("User-Agent", "test (gzip)");
  for (int i = 0; i < 2; ++i) {
    const auto compressed = connect().get(list, headers);
    EXPECT_EQ(compressed.header("Content-Encoding"), "gzip");
    EXPECT_EQ(inflated(compressed.body), plain.body);
  }
}

TEST_F(AnEmulatorServer, AnswersRequestsItCannotParseWith400) {
  auto client = connect();
  client.writeRaw("nonsense\r\n\r\n");
  EXPECT_THAT(client.readRaw(), StartsWith("HTTP/1.1 400 "));
}

TEST_F(AnEmulatorServer, RefusesARequestWithoutHost) {
  auto client = connect();
  client.writeRaw("GET " + about + " HTTP/1.1\r\n\r\n");
  EXPECT_EQ(client.read().status, 400);
}

TEST_F(AnEmulatorServer, ServesNothingUnderOtherPathsOrMethods) {
  EXPECT_EQ(get("/drive/v2/files").status, 404);
  EXPECT_EQ(get("/drive/v3/files/a/b").status, 404);
  EXPECT_EQ(connect().send("PUT", about, session).status, 404);
}

TEST_F(AnEmulatorServer, StopsWhileAnAnswerIsHeld) {
  const auto gate = std::make_shared<Gate>();
  server.faults().add("about", Fault::held(gate));
  auto client = connect();
  client.write("GET", about, session);
  ASSERT_TRUE(gate->waitUntilReached());
  server.stop();
  EXPECT_TRUE(client.isClosedByPeer());
  gate->open();
}

TEST_F(AnEmulatorServer, SurvivesAClientThatLeavesWhileItsAnswerIsHeld) {
  const auto gate = std::make_shared<Gate>();
  server.faults().add("about", Fault::held(gate));
  {
    auto client = connect();
    client.write("GET", about, session);
    ASSERT_TRUE(gate->waitUntilReached());
  }
  gate->open();
  EXPECT_EQ(get(about).status, 200);
}

TEST_F(AnEmulatorServer, WritesAJournalWithoutSecrets) {
  get(about + "&key=k");
  connect().postForm("/token", {{"grant_type", "refresh_token"}, {"refresh_token", "1//0secret"}});
  connect().get("/o/oauth2/v2/auth?state=secretstate&scope=openid");
  const auto entries = server.journal().entries();
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].operation, "about");
  EXPECT_EQ(entries[0].status, 200);
  EXPECT_THAT(entries[0].header("Authorization"), StartsWith("Bearer sha256:"));
  EXPECT_THAT(std::string(entries[0].header("Authorization")), Not(HasSubstr("ya29")));
  EXPECT_EQ(entries[1].operation, "token");
  EXPECT_THAT(entries[1].body, Not(HasSubstr("secret")));
  EXPECT_EQ(entries[2].status, 400);
  EXPECT_THAT(entries[2].target, Not(HasSubstr("secretstate")));
  EXPECT_EQ(server.journal().count("token"), 1U);
  EXPECT_TRUE(server.journal().waitForCount(3));
}

TEST(AnEmulatorOnTLS, IsTrustedThroughItsOwnAuthorityOnly) {
  Emulator server({.tls = true});
  server.start();
  EXPECT_THAT(server.baseURL(), StartsWith("https://127.0.0.1:"));
  HTTPClient client(server.port(), server.authorityPEM());
  const HTTPHeaders session = {{"Authorization", "Bearer " + server.issueSession(ada).accessToken}};
  EXPECT_EQ(client.get(about, session).status, 200);
  EXPECT_EQ(client.get(about, session).status, 200);
  Emulator stranger({.tls = true});
  EXPECT_THROW(HTTPClient(server.port(), stranger.authorityPEM()), std::runtime_error);
}

TEST(AnEmulatorOnTLS, CutsAnswersToo) {
  Emulator server({.tls = true});
  server.start();
  server.faults().add("about", Fault::closeAfterBodyBytes(3));
  server.faults().add("about", Fault::resetAfterBytes(0));
  for (int i = 0; i < 2; ++i) {
    HTTPClient client(server.port(), server.authorityPEM());
    EXPECT_NE(client.get(about, {{"Authorization", "Bearer x"}}).error, "");
  }
}

TEST(AnEmulator, RefusesOptionsThatMakeNoSense) {
  EXPECT_THROW(Emulator({.accounts = {}}), std::invalid_argument);
  EXPECT_THROW(Emulator({.accounts = {{.email = "nobody"}}}), std::invalid_argument);
  EXPECT_THROW(Emulator({.accounts = {{.email = ada}, {.email = ada}}}), std::invalid_argument);
  EXPECT_THROW(Emulator({.clientID = ""}), std::invalid_argument);
  EXPECT_THROW(Emulator({.tokenLifetime = std::chrono::seconds(0)}), std::invalid_argument);
}

TEST(AnEmulator, SaysThatItsPortIsTaken) {
  Emulator first;
  first.start();
  EXPECT_THROW(Emulator({.port = first.port()}), std::runtime_error);
}

}  // namespace
}  // namespace corvane::tests
