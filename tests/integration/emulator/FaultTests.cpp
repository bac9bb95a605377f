#include <gmock/gmock.h>

#include "EmulatorFixture.hpp"

namespace corvane::tests {
namespace {

using emulator::Framing;
using emulator::Gate;
using testing::HasSubstr;
using testing::StartsWith;

const std::string about = "/drive/v3/about?fields=*&prettyPrint=false";

class AnEmulatedFault : public EmulatorTest {
 protected:
  HTTPHeaders compressed() {
    auto headers = session;
    headers.emplace_back("Accept-Encoding", "gzip");
    headers.emplace_back("User-Agent", "test (gzip)");
    return headers;
  }
};

TEST_F(AnEmulatedFault, IsUsedOnceAndInOrder) {
  server.faults().add("about", Fault::error(503, "backendError"));
  server.faults().add("files.list", Fault::error(500, "internalError"));
  server.faults().add("about", Fault::error(403, "userRateLimitExceeded").withHeader("Retry-After", "2"));
  EXPECT_EQ(server.faults().remaining().size(), 3U);
  EXPECT_EQ(problem(get(about)), "503 backendError");
  const auto limited = get(about);
  EXPECT_EQ(problem(limited), "403 userRateLimitExceeded");
  EXPECT_EQ(json::parse(limited.body)["error"]["errors"][0]["domain"], "usageLimits");
  EXPECT_EQ(limited.header("Retry-After"), "2");
  EXPECT_EQ(get(about).status, 200);
  EXPECT_THAT(server.faults().description(), HasSubstr("files.list: status 500 internalError"));
  EXPECT_EQ(problem(get("/drive/v3/files")), "500 internalError");
}

TEST_F(AnEmulatedFault, OfAnyOperationHitsTheNextRequest) {
  server.faults().add("*", Fault::unauthorized());
  EXPECT_EQ(problem(get("/drive/v3/files")), "401 authError");
  EXPECT_EQ(get("/drive/v3/files").status, 200);
}

TEST_F(AnEmulatedFault, OfNoOperationIsRefused) {
  EXPECT_THROW(server.faults().add("file.list", Fault::unauthorized()), std::invalid_argument);
}

TEST_F(AnEmulatedFault, KeepsTheRequestFromTakingEffectUnlessItSaysOtherwise) {
  const auto id = firstFile("'me' in owners");
  server.faults().add("files.delete", Fault::error(500, "internalError"));
  EXPECT_EQ(remove(id).status, 500);
  EXPECT_EQ(get("/drive/v3/files/" + id).status, 200);
  auto performed = Fault::error(500, "internalError");
  performed.performed = true;
  server.faults().add("files.delete", performed);
  EXPECT_EQ(remove(id).status, 500);
  EXPECT_EQ(get("/drive/v3/files/" + id).status, 404);
}

TEST_F(AnEmulatedFault, AnswersWithMarkupOrNothingOrAForeignBody) {
  server.faults().add("about", Fault::html(502));
  server.faults().add("about", Fault::empty(500));
  server.faults().add("about", Fault::content("[1,2", "application/json"));
  server.faults().add("about", Fault::redirect("http://127.0.0.1:9/elsewhere"));
  const auto markup = get(about);
  EXPECT_EQ(markup.status, 502);
  EXPECT_THAT(markup.body, StartsWith("<html>"));
  EXPECT_EQ(get(about).body, "");
  const auto foreign = get(about);
  EXPECT_EQ(foreign.status, 200);
  EXPECT_EQ(foreign.body, "[1,2");
  EXPECT_EQ(get(about).header("Location"), "http://127.0.0.1:9/elsewhere");
}

TEST_F(AnEmulatedFault, HoldsAnAnswerUntilItsGateOpens) {
  const auto gate = std::make_shared<Gate>();
  server.faults().add("about", Fault::held(gate));
  auto client = connect();
  client.write("GET", about, session);
  ASSERT_TRUE(gate->waitUntilReached());
  EXPECT_EQ(get(about).status, 200);  // others are served meanwhile
  gate->open();
  EXPECT_EQ(client.read().status, 200);
  EXPECT_EQ(client.get(about, session).status, 200);
}

TEST_F(AnEmulatedFault, HoldsTheRestOfABodyUntilItsGateOpens) {
  const auto gate = std::make_shared<Gate>();
  auto fault = Fault::held(gate);
  fault.gateAfter = 10;
  server.faults().add("about", fault);
  auto client = connect();
  client.write("GET", about, session);
  ASSERT_TRUE(gate->waitUntilReached());
  EXPECT_THAT(client.readRaw(1), HasSubstr("HTTP/1.1 200 OK"));
  gate->open();
  EXPECT_THAT(client.readRaw(1), HasSubstr("}"));
}

TEST_F(AnEmulatedFault, DelaysAndTricklesWithoutChangingTheAnswer) {
  const auto body = get(about).body;
  Fault fault = Fault::slow(100, std::chrono::milliseconds(1));
  fault.delay = std::chrono::milliseconds(5);
  server.faults().add("about", fault);
  const auto answer = get(about);
  EXPECT_EQ(answer.body, body);
  EXPECT_EQ(answer.error, "");
}

TEST_F(AnEmulatedFault, ResetsAfterSoManyBytes) {
  server.faults().add("about", Fault::resetAfterBytes(0));
  server.faults().add("about", Fault::resetAfterBytes(20));
  EXPECT_THAT(get(about).error, HasSubstr("reset"));
  auto client = connect();
  client.write("GET", about, session);
  EXPECT_EQ(client.readRaw().size(), 20U);
}

TEST_F(AnEmulatedFault, ClosesWithinTheBodyOrBeforeAnyAnswer) {
  server.faults().add("about", Fault::closeAfterBodyBytes(5));
  server.faults().add("about", Fault::closeWithoutAnswer());
  const auto cut = get(about);
  EXPECT_EQ(cut.status, 200);
  EXPECT_EQ(cut.body.size(), 5U);
  EXPECT_NE(cut.error, "");
  EXPECT_EQ(get(about).status, 0);
}

TEST_F(AnEmulatedFault, ClosesAfterTheAnswerWithoutAnnouncingIt) {
  Fault fault;
  fault.closeAfterAnswer = true;
  server.faults().add("about", fault);
  auto client = connect();
  const auto answer = client.get(about, session);
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(answer.header("Connection"), "");
  EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(AnEmulatedFault, AnnouncesAWrongLength) {
  const auto size = get(about).body.size();
  for (const int delta : {-3, 3}) {
    Fault fault;
    fault.lengthDelta = delta;
    server.faults().add("about", fault);
    const auto answer = get(about);
    EXPECT_EQ(std::stol(answer.header("Content-Length")), static_cast<long>(size) + delta);
    EXPECT_EQ(answer.error.empty(), delta < 0);
  }
}

TEST_F(AnEmulatedFault, DamagesTheCompressedBody) {
  Fault fault;
  fault.corruptGzip = true;
  server.faults().add("files.list", fault);
  const auto answer = connect().get("/drive/v3/files", compressed());
  EXPECT_EQ(answer.header("Content-Encoding"), "gzip");
  EXPECT_THROW(inflated(answer.body), std::runtime_error);
  EXPECT_NO_THROW(inflated(connect().get("/drive/v3/files", compressed()).body));
}

TEST_F(AnEmulatedFault, BlowsUpABodyCompressedOrNot) {
  constexpr std::uint64_t size = 20 << 20;
  Fault fault;
  fault.hugeBody = size;
  server.faults().add("about", fault, 2);
  const auto bomb = connect().get(about, compressed());
  EXPECT_LT(bomb.body.size(), size / 100);
  EXPECT_EQ(inflated(bomb.body).size(), size);
  const auto plain = get(about);
  EXPECT_EQ(plain.body.size(), size);
  EXPECT_TRUE(json::accept(plain.body));
}

TEST_F(AnEmulatedFault, SendsHeadersWithoutEnd) {
  Fault fault;
  fault.endlessHeaders = true;
  server.faults().add("about", fault);
  auto client = connect();
  client.write("GET", about, session);
  const auto head = client.readRaw(1 << 20);
  EXPECT_THAT(head, StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_EQ(head.find("\r\n\r\n"), std::string::npos);
}

TEST_F(AnEmulatedFault, SendsInterimAnswersFirst) {
  Fault fault;
  fault.interim = {103, 102};
  server.faults().add("about", fault);
  auto client = connect();
  auto headers = session;
  headers.emplace_back("Connection", "close");
  client.write("GET", about, headers);
  const auto bytes = client.readRaw();
  EXPECT_THAT(
      bytes,
      StartsWith("HTTP/1.1 103 Early Hints\r\n\r\nHTTP/1.1 102 Processing\r\n\r\nHTTP/1.1 200 OK\r\n"));
}

TEST_F(AnEmulatedFault, FramesTheBodyInOtherWays) {
  const auto body = get(about).body;
  for (const auto framing : {Framing::Chunked, Framing::UntilClose}) {
    Fault fault;
    fault.framing = framing;
    server.faults().add("about", fault);
    const auto answer = get(about);
    EXPECT_EQ(answer.body, body);
    EXPECT_EQ(answer.error, "");
    EXPECT_EQ(answer.header("Content-Length"), "");
  }
  Fault broken;
  broken.framing = Framing::BrokenChunks;
  server.faults().add("about", broken);
  EXPECT_NE(get(about).error, "");
}

TEST_F(AnEmulatedFault, SendsBytesAsTheyAre) {
  server.faults().add("about", Fault::rawBytes("this is not HTTP"));
  auto client = connect();
  client.write("GET", about, session);
  EXPECT_EQ(client.readRaw(), "this is not HTTP");
}

TEST_F(AnEmulatedFault, HitsTheTokenEndpointToo) {
  server.faults().add("token", Fault::html(503));
  EXPECT_EQ(connect().postForm("/token", {}).status, 503);
}

}  // namespace
}  // namespace corvane::tests
