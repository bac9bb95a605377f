#include "Gzip.hpp"
#include "HTTPFixture.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fcntl.h>

#include <array>
#include <functional>
#include <set>
#include <string>

namespace corvane::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

HTTPLimits smallLimits() {
  HTTPLimits limits;
  limits.body = 64 << 10;
  limits.headers = 16 << 10;
  return limits;
}

struct Excess {
  std::string name;
  ScriptedServer::Script script;
};

ScriptedServer::Script sendForEver(std::string first, std::string then) {
  return [first = std::move(first), then = std::move(then)](ScriptedConnection& connection) {
    connection.readRequest();
    connection.send(first);
    connection.sendForEver(then);
  };
}

const Excess excesses[] = {
    {"BodyAnnouncedTooLarge", answerAndClose("HTTP/1.1 200 OK\r\nContent-Length: 10737418240\r\n\r\n")},
    {"EndlessChunks", sendForEver("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n",
                                  "1000\r\n" + std::string(4096, 'x') + "\r\n")},
    {"EndlessBodyUntilClose", sendForEver("HTTP/1.1 200 OK\r\n\r\n", std::string(4096, 'x'))},
    {"GzipBomb", answerAndClose(httpAnswer(gzip(std::string(32 << 20, 'x')), "Content-Encoding: gzip\r\n"))},
    {"EndlessHeaders", sendForEver("HTTP/1.1 200 OK\r\n", "X-More: and more\r\n")},
    {"EndlessHeaderLine", sendForEver("HTTP/1.1 200 OK\r\nX-More: ", std::string(4096, 'x'))},
    {"EndlessInterimAnswers", sendForEver("", "HTTP/1.1 103 Early Hints\r\nLink: <x>\r\n\r\n")},
    {"EndlessTrailers", sendForEver("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\n",
                                    "X-More: and more\r\n")},
};

class Excesses : public testing::TestWithParam<Excess> {};

TEST_P(Excesses, AreCutOffAtALowLimit) {
  const ScriptedServer server(GetParam().script);
  HTTPFixture http(smallLimits());
  const auto answer = http.get(server.url());
  ASSERT_THAT(answer, IsURLError(-1103));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("too large"));
}

TEST_P(Excesses, AreCutOffAtTheUsualLimit) {
  const ScriptedServer server(GetParam().script);
  HTTPFixture http;
  EXPECT_THAT(http.get(server.url()), IsURLError(-1103));
}

INSTANTIATE_TEST_SUITE_P(, Excesses, testing::ValuesIn(excesses),
                         [](const auto& test) { return test.param.name; });

TEST(HeaderLimit, IsForEachAnswerByItself) {
  const ScriptedServer server(
      alwaysAnswer(httpAnswer("ok", "X-Half: " + std::string(8 << 10, 'x') + "\r\n")));
  HTTPFixture http(smallLimits());
  for (int i = 0; i < 4; ++i) EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
}

TEST(BodyLimit, IsReachedButNotPassed) {
  const std::string exact(64 << 10, 'x');
  const ScriptedServer plain(alwaysAnswer(httpAnswer(exact)));
  const ScriptedServer packed(alwaysAnswer(httpAnswer(gzip(exact), "Content-Encoding: gzip\r\n")));
  const ScriptedServer packedOneMore(
      alwaysAnswer(httpAnswer(gzip(exact + "x"), "Content-Encoding: gzip\r\n")));
  HTTPFixture http(smallLimits());
  EXPECT_THAT(http.get(plain.url()), IsAnswer(200, exact));
  EXPECT_THAT(http.get(packed.url()), IsAnswer(200, exact));
  EXPECT_THAT(http.get(packedOneMore.url()), IsURLError(-1103));
}

HTTPLimits impatient() {
  HTTPLimits limits;
  limits.connect = 100ms;
  limits.stall = 1s;
  return limits;
}

TEST(StallLimit, EndsAnAnswerThatNeverBegins) {
  const ScriptedServer server([](ScriptedConnection& connection) { connection.waitForEnd(); });
  HTTPFixture http(impatient());
  const auto answer = http.get(server.url("/?secret"));
  ASSERT_THAT(answer, IsURLError(-1001));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("too slowly"));
}

TEST(StallLimit, EndsAnAnswerThatStopsAfterItsHeaders) {
  const ScriptedServer server([](ScriptedConnection& connection) {
    connection.readRequest();
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n");
    connection.waitForEnd();
  });
  HTTPFixture http(impatient());
  EXPECT_THAT(http.get(server.url()), IsURLError(-1001));
}

TEST(StallLimit, EndsABodyThatTrickles) {
  const ScriptedServer server([](ScriptedConnection& connection) {
    connection.readRequest();
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n");
    while (!connection.endsWithin(300ms)) connection.send("x");
  });
  HTTPFixture http(impatient());
  EXPECT_THAT(http.get(server.url()), IsURLError(-1001));
}

TEST(ConnectLimit, CoversTheHandshake) {
  // Plain TCP that takes the client's greeting and says nothing.
  const ScriptedServer silent([](ScriptedConnection& connection) { connection.waitForEnd(); });
  HTTPFixture http(impatient());
  const auto answer = http.get("https://127.0.0.1:" + std::to_string(silent.port()) + "/?secret");
  ASSERT_THAT(answer, IsURLError(-1001));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("Connecting"));
}

#ifdef __SANITIZE_ADDRESS__
// The sanitizers of the same build need descriptors of their own for their checks.
constexpr bool canRunWithoutDescriptors = false;
#else
constexpr bool canRunWithoutDescriptors = true;
#endif

/// Takes every descriptor that this process may have, but so many.
class FewDescriptorsLeft {
 public:
  explicit FewDescriptorsLeft(int count) {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    rlimit few = before_;
    few.rlim_cur = 0;
    for (int left = count; left >= 0; ++few.rlim_cur)
      if (::fcntl(static_cast<int>(few.rlim_cur), F_GETFD) < 0) --left;
    --few.rlim_cur;
    ::setrlimit(RLIMIT_NOFILE, &few);
  }
  ~FewDescriptorsLeft() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  FewDescriptorsLeft(const FewDescriptorsLeft&) = delete;
  FewDescriptorsLeft& operator=(const FewDescriptorsLeft&) = delete;

 private:
  rlimit before_{};
};

TEST(OutOfDescriptors, FailsTheFirstRequestAndTheNextOneWorks) {
  if (!canRunWithoutDescriptors) GTEST_SKIP() << "the sanitizers need descriptors themselves";
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  {
    const FewDescriptorsLeft none(0);
    const auto answer = http.get(server.url());
    ASSERT_THAT(answer, IsURLError(-1004));
    EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("open files"));
  }
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
}

TEST(OutOfDescriptors, FailsALaterRequestAndTheNextOneWorks) {
  if (!canRunWithoutDescriptors) GTEST_SKIP() << "the sanitizers need descriptors themselves";
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  ASSERT_THAT(http.get(server.url()), IsAnswer(200, "ok"));
  {
    const FewDescriptorsLeft none(0);
    const auto answer = http.perform(makeRequest("DELETE", server.url()));  // never on a used connection
    ASSERT_THAT(answer, IsURLError(-1004));
    EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("files are open"));
  }
  EXPECT_THAT(http.perform(makeRequest("DELETE", server.url())), IsAnswer(200, "ok"));
}

// "localhost" has an address of IPv6 too, where nobody listens.
TEST(OutOfDescriptors, IsNotTakenForTheErrorOfAnAddressThatFailedBefore) {
  if (!canRunWithoutDescriptors) GTEST_SKIP() << "the sanitizers need descriptors themselves";
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  ASSERT_THAT(http.get(server.url("localhost", "/")), IsAnswer(200, "ok"));
  const FewDescriptorsLeft none(0);
  const auto answer = http.perform(makeRequest("DELETE", server.url()));
  ASSERT_THAT(answer, IsURLError(-1004));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("files are open"));
}

/// What the requests of a host end with that has so few descriptors left, from none to plenty.
void expectWithFewDescriptors(HTTPFixture& http, const std::function<std::string(int)>& url,
                              const std::set<std::int64_t>& codes) {
  for (int left = 0; left < 24; ++left) {
    const FewDescriptorsLeft few(left);
    const auto answer = http.perform(makeRequest("DELETE", url(left)));  // never on a used connection
    if (answer.isSuccess()) continue;
    EXPECT_TRUE(codes.contains(answer.error().code()))
        << left << " left: " << answer.error().localizedDescription();
  }
}

TEST(FewDescriptors, AreNotTakenForANameWithoutAnAddress) {
  if (!canRunWithoutDescriptors) GTEST_SKIP() << "the sanitizers need descriptors themselves";
  std::array<char, 256> name{};
  ASSERT_EQ(::gethostname(name.data(), name.size() - 1), 0);
  // libcurl remembers addresses by name and port. Nobody listens below 100.
  const auto url = [&](int left) {
    return "https://" + std::string(name.data()) + ":" + std::to_string(50 + left) + "/";
  };
  HTTPFixture http;
  const auto answer = http.get(url(-1));
  if (!answer.isSuccess() && answer.error().code() == urlError::cannotFindHost)
    GTEST_SKIP() << "this machine's own name has no address";
  expectWithFewDescriptors(http, url, {urlError::cannotConnectToHost});
}

TEST(FewDescriptors, AreNotTakenForACertificateThatIsNotTrusted) {
  if (!canRunWithoutDescriptors) GTEST_SKIP() << "the sanitizers need descriptors themselves";
  const auto authority = makeAuthority("Corvane test authority");
  const TemporaryFile file(authority.pem());
  const ScriptedServer server({makeServerIdentity(authority, "localhost")},
                              alwaysAnswer(httpAnswer("ok")));
  HTTPLimits limits;
  limits.connect = 500ms;  // the server may have no descriptor for the connection
  HTTPFixture http(limits, file.path());
  ASSERT_THAT(http.get(server.url("localhost", "/")), IsAnswer(200, "ok"));
  expectWithFewDescriptors(http, [&](int) { return server.url("localhost", "/"); },
                           {urlError::cannotConnectToHost, urlError::timedOut});
  EXPECT_THAT(http.get(server.url("localhost", "/")), IsAnswer(200, "ok"));
}

}  // namespace
}  // namespace corvane::test
