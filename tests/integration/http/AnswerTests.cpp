#include "Gzip.hpp"
#include "HTTPFixture.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <system_error>
#include <utility>

namespace corvane::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(Answer, AnyStatusIsAnAnswer) {
  for (const int status : {200, 201, 204, 304, 400, 401, 403, 404, 429, 500, 503}) {
    const bool bodiless = status == 204 || status == 304;
    const ScriptedServer server(alwaysAnswer(httpAnswer(bodiless ? "" : "text", "", status)));
    HTTPFixture http;
    EXPECT_THAT(http.get(server.url()), IsAnswer(status, bodiless ? "" : "text"));
  }
}

TEST(Answer, IsGivenOnAPoolThread) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  AwaitedAnswer done;
  std::atomic<bool> onPool{false};
  const auto ticket =
      http.client->send(makeRequest("GET", server.url()), [&, finish = done.handler()](Answer answer) {
        onPool = http.pool->runsThisThread();
        finish(std::move(answer));
      });
  EXPECT_THAT(done.wait(), IsAnswer(200, "ok"));
  EXPECT_TRUE(onPool);
}

/// A pool that cannot start a thread for its first blocks.
class ReluctantQueue final : public Queue {
 public:
  void async(Block block) override {
    if (++calls_ <= 2) throw std::system_error(EAGAIN, std::generic_category());
    pool_->async(std::move(block));
  }
  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds delay, Block block) override {
    return pool_->asyncAfter(delay, std::move(block));
  }

 private:
  std::shared_ptr<PoolQueue> pool_ = std::make_shared<PoolQueue>();
  std::atomic<int> calls_{0};
};

TEST(Answer, WaitsForAPoolThatCannotTakeItYet) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  CurlNetwork network({{}, {}, "Corvane/test (gzip)", std::make_shared<ReluctantQueue>()});
  const auto client = network.makeClient();
  EXPECT_THAT(HTTPFixture::perform(*client, makeRequest("GET", server.url())), IsAnswer(200, "ok"));
}

TEST(Answer, HeaderNamesAreLowerCaseAndFoldedLinesAreJoined) {
  const ScriptedServer server(alwaysAnswer(
      "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nX-FOLDED: one\r\n two\r\nRetry-After:  7 \r\n\r\nok"));
  HTTPFixture http;
  const auto answer = http.get(server.url());
  ASSERT_THAT(answer, IsAnswer(200, "ok"));
  EXPECT_THAT(answer.value().headers, ElementsAre(Pair("content-length", "2"), Pair("x-folded", "one two"),
                                                  Pair("retry-after", "7")));
  EXPECT_EQ(answer.value().header("retry-after"), "7");
}

TEST(Answer, InterimAnswersLeaveNothingBehind) {
  const ScriptedServer server(alwaysAnswer(
      "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: <x>\r\n\r\n" + httpAnswer("ok")));
  HTTPFixture http;
  const auto answer = http.get(server.url());
  ASSERT_THAT(answer, IsAnswer(200, "ok"));
  EXPECT_THAT(answer.value().headers, ElementsAre(Pair("content-length", "2")));
}

TEST(Answer, ChangeOfProtocolThatNobodyAskedForIsNoSuccess) {
  const ScriptedServer server(
      answerAndClose("HTTP/1.1 101 Switching Protocols\r\nUpgrade: odd\r\n\r\n" + httpAnswer("{}")));
  HTTPFixture http;
  const auto answer = http.get(server.url());
  ASSERT_TRUE(answer.isSuccess());
  EXPECT_EQ(answer.value().status, 101);
}

TEST(Answer, BytesBeyondTheAnnouncedLengthAreNotPartOfIt) {
  const ScriptedServer server(
      alwaysAnswer(httpAnswer("ok") + "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nevil"));
  HTTPFixture http;
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
}

TEST(Answer, ChunksAreJoinedAndTrailersDropped) {
  const ScriptedServer server(
      alwaysAnswer("HTTP/1.1 200 OK\r\nTransfer-Encoding: "
                   "chunked\r\n\r\n3\r\nabc\r\n3\r\ndef\r\n0\r\nX-Trailer: t\r\n\r\n"));
  HTTPFixture http;
  const auto answer = http.get(server.url());
  ASSERT_THAT(answer, IsAnswer(200, "abcdef"));
  EXPECT_EQ(answer.value().header("x-trailer"), "");
}

TEST(Answer, RedirectIsNotFollowedNorTheTokenShownToItsTarget) {
  const ScriptedServer elsewhere(alwaysAnswer(httpAnswer("stolen")));
  const ScriptedServer server(alwaysAnswer(httpAnswer("", "Location: " + elsewhere.url() + "\r\n", 307)));
  HTTPFixture http;
  auto request = makeRequest("GET", server.url());
  request.bearer = Secret("token");
  const auto answer = http.perform(std::move(request));
  ASSERT_THAT(answer, IsAnswer(307, ""));
  EXPECT_EQ(answer.value().header("location"), elsewhere.url());
  EXPECT_EQ(elsewhere.connections(), 0);
}

TEST(Body, IsInflatedWithRoomForAReaderAhead) {
  const std::string text(100'000, 'x');
  const ScriptedServer server(alwaysAnswer(httpAnswer(gzip(text), "Content-Encoding: gzip\r\n")));
  HTTPFixture http;
  const auto answer = http.get(server.url());
  ASSERT_THAT(answer, IsAnswer(200, text));
  EXPECT_GE(answer.value().body.capacity(), text.size() + HTTPResponse::padding);
  EXPECT_EQ(answer.value().header("content-encoding"), "");
}

TEST(Body, HasRoomForAReaderAheadWhenItCamePlain) {
  for (const std::string text : {"", "short"}) {
    const ScriptedServer server(alwaysAnswer(httpAnswer(text)));
    HTTPFixture http;
    const auto answer = http.get(server.url());
    ASSERT_THAT(answer, IsAnswer(200, text));
    EXPECT_GE(answer.value().body.capacity(), text.size() + HTTPResponse::padding);
  }
}

TEST(Body, MembersOfAGzipBodyAreJoined) {
  const std::string large(300'000, 'y');
  const ScriptedServer server(
      alwaysAnswer(httpAnswer(gzip("one ") + gzip(large) + gzip(" three"), "Content-Encoding: GZIP\r\n")));
  HTTPFixture http;
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "one " + large + " three"));
}

TEST(Body, SizeInTheGzipTrailerIsNotBelieved) {
  // The last member is empty, so the trailer that is looked at first says 0.
  const std::string text(1 << 20, 'z');
  const ScriptedServer server(alwaysAnswer(httpAnswer(gzip(text) + gzip(""), "Content-Encoding: gzip\r\n")));
  HTTPFixture http;
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, text));
}

TEST(Body, CutGzipIsDamaged) {
  const std::string packed = gzip(std::string(10'000, 'x'));
  for (const std::size_t kept : {packed.size() - 1, packed.size() / 2, std::size_t{1}}) {
    const ScriptedServer server(
        alwaysAnswer(httpAnswer(packed.substr(0, kept), "Content-Encoding: gzip\r\n")));
    HTTPFixture http;
    EXPECT_THAT(http.get(server.url()), IsURLError(-1017));
  }
}

TEST(Body, ThatCannotBeReadLeavesAFailureItsStatus) {
  for (const auto* encoding : {"gzip", "br"}) {
    const auto header = std::string("Content-Encoding: ") + encoding + "\r\n";
    const ScriptedServer server(alwaysAnswer(httpAnswer("\x1f\x8b\x08 not gzip", header, 503)));
    HTTPFixture http;
    EXPECT_THAT(http.get(server.url()), IsAnswer(503, ""));
  }
}

TEST(Body, EmptyBodyNeedsNoInflating) {
  const ScriptedServer server(alwaysAnswer("HTTP/1.1 204 No Content\r\nContent-Encoding: gzip\r\n\r\n"));
  HTTPFixture http;
  EXPECT_THAT(http.get(server.url()), IsAnswer(204, ""));
}

}  // namespace
}  // namespace corvane::test
