#include "HTTPFixture.hpp"

#include "curl/CurlErrors.hpp"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <thread>
#include <utility>

namespace corvane::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::string_view token = "ya29.t0ps3cret";
constexpr std::string_view query = "pageToken=qu3ry";
constexpr std::string_view body = "b0dytext";

HTTPRequest secretive(std::string url) {
  auto request = makeRequest("GET", std::move(url) + "?" + std::string(query), body);
  request.bearer = Secret(token);
  return request;
}

void expectNoSecrets(const NSError& error) {
  for (const auto& [key, value] : error.userInfo())
    for (const auto secret : {token, query, body})
      EXPECT_THAT(value.description(), Not(HasSubstr(secret))) << key;
}

struct BrokenAnswer {
  std::string name;
  ScriptedServer::Script script;
  std::int64_t code;
  std::string says;
};

ScriptedServer::Script sendAndReset(std::string bytes) {
  return [bytes = std::move(bytes)](ScriptedConnection& connection) {
    connection.readRequest();
    connection.send(bytes);
    connection.reset();
  };
}

const BrokenAnswer brokenAnswers[] = {
    {"ResetBeforeTheHeaders", sendAndReset(""), -1005, "lost"},
    {"ClosedWithoutAnAnswer", answerAndClose(""), -1005, "without an answer"},
    {"ResetWithinTheHeaders", sendAndReset("HTTP/1.1 200 OK\r\nContent-Le"), -1005, "lost"},
    {"ResetWithinTheBody", sendAndReset("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf"), -1005, "lost"},
    {"BodyShorterThanAnnounced", answerAndClose("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf"), -1005,
     "ended early"},
    {"LastChunkMissing", answerAndClose("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nhalf\r\n"),
     -1005, "lost"},
    {"ChunkWithoutASize",
     answerAndClose("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzzz\r\nhalf\r\n"), -1005, "lost"},
    {"NotHTTP", answerAndClose("220 mail.example.com ESMTP\r\n\r\n"), -1005, "not HTTP"},
    {"ContentLengthNotANumber", answerAndClose("HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\nhalf"), -1005,
     "not HTTP"},
    {"DamagedGzip", answerAndClose(httpAnswer("\x1f\x8b\x08 not gzip at all", "Content-Encoding: gzip\r\n")),
     -1017, "damaged"},
    {"EncodingNobodyAskedFor", answerAndClose(httpAnswer("....", "Content-Encoding: br\r\n")), -1017,
     "not asked for"},
};

class BrokenAnswers : public testing::TestWithParam<BrokenAnswer> {};

TEST_P(BrokenAnswers, FailTheRequestAndNameTheHostButNoSecret) {
  const ScriptedServer server(GetParam().script);
  HTTPFixture http;

  const auto answer = http.perform(secretive(server.url("/files")));

  ASSERT_THAT(answer, IsURLError(GetParam().code));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr(GetParam().says));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("127.0.0.1:" + std::to_string(server.port())));
  expectNoSecrets(answer.error());
  EXPECT_EQ(server.connections(), 1);
}

INSTANTIATE_TEST_SUITE_P(, BrokenAnswers, testing::ValuesIn(brokenAnswers),
                         [](const auto& test) { return test.param.name; });

TEST(TransportError, RefusedConnectionSaysSo) {
  std::string url;
  {
    const ScriptedServer gone(alwaysAnswer(""));
    url = gone.url();
  }
  HTTPFixture http;
  const auto answer = http.perform(secretive(url));
  ASSERT_THAT(answer, IsURLError(-1004));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("refused"));
  expectNoSecrets(answer.error());
}

TEST(TransportError, UnknownHostIsNamed) {
  HTTPFixture http;
  const auto answer = http.perform(secretive("https://nobody.invalid/files"));
  // A machine without any network says so instead.
  ASSERT_FALSE(answer.isSuccess());
  EXPECT_THAT(answer.error().code(), testing::AnyOf(-1003, -1009));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("nobody.invalid"));
  expectNoSecrets(answer.error());
}

TEST(TransportError, UnreachableNetworkIsNoNetwork) {
  TransferFailure failure;
  failure.code = CURLE_COULDNT_CONNECT;
  failure.host = "www.example.com";
  failure.systemError = ENETUNREACH;
  EXPECT_EQ(transferError(failure).code(), -1009);
  failure.systemError = EHOSTUNREACH;
  EXPECT_EQ(transferError(failure).code(), -1004);
}

TEST(TransportError, UnresolvedNameWithoutAWayToTheInternetIsNoNetwork) {
  TransferFailure failure;
  failure.code = CURLE_COULDNT_RESOLVE_HOST;
  failure.host = "www.example.com";
  EXPECT_EQ(transferError(failure).code(), -1003);
  failure.hasNetwork = false;
  EXPECT_EQ(transferError(failure).code(), -1009);
}

/// Brings up a bridge with an address and nothing attached, as container software leaves one behind.
bool bringUpABridge() {
  const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq request{};
  std::strcpy(request.ifr_name, "corvane0");
  auto& address = reinterpret_cast<sockaddr_in&>(request.ifr_addr);
  address.sin_family = AF_INET;
  ::inet_pton(AF_INET, "172.17.0.1", &address.sin_addr);
  bool done =
      ::ioctl(socket, SIOCBRADDBR, request.ifr_name) == 0 && ::ioctl(socket, SIOCSIFADDR, &request) == 0;
  request.ifr_flags = IFF_UP;
  done = done && ::ioctl(socket, SIOCSIFFLAGS, &request) == 0;
  ::close(socket);
  return done;
}

/// What a request by name and one by address end with where `prepare` has made the network. A thread, and the network
/// thread it starts, can have a network namespace of their own, in which nothing is up at first.
std::optional<std::pair<Answer, Answer>> answersIn(bool (*prepare)()) {
  std::optional<std::pair<Answer, Answer>> answers;
  std::thread([&] {
    if (::unshare(CLONE_NEWNET) != 0 || !prepare()) return;
    HTTPFixture http;
    answers.emplace(http.get("https://www.example.com/"), http.get("https://192.0.2.1/"));
  }).join();
  return answers;
}

TEST(TransportError, MachineWithoutNetworkIsOffline) {
  const auto answers = answersIn([] { return true; });
  if (!answers) GTEST_SKIP() << "this user may not make a network namespace";
  EXPECT_THAT(answers->first, IsURLError(-1009));
  EXPECT_THAT(answers->second, IsURLError(-1009));
}

TEST(TransportError, MachineWithNothingButABridgeOfItsOwnIsOffline) {
  const auto answers = answersIn(bringUpABridge);
  if (!answers) GTEST_SKIP() << "this user may not make a network of its own";
  EXPECT_THAT(answers->first, IsURLError(-1009));
  EXPECT_THAT(answers->second, IsURLError(-1009));
}

std::atomic<int> brokenPipes{0};

TEST(TransportError, BrokenPipeNeverReachesTheHost) {
  struct sigaction count {};
  struct sigaction before {};
  count.sa_handler = [](int) { ++brokenPipes; };
  ASSERT_EQ(::sigaction(SIGPIPE, &count, &before), 0);
  const ScriptedServer server([](ScriptedConnection& connection) { connection.reset(); });
  HTTPFixture http;
  const std::string large(1 << 20, 'x');
  for (int i = 0; i < 10; ++i)
    EXPECT_FALSE(http.perform(makeRequest("POST", server.url(), large)).isSuccess());
  EXPECT_EQ(brokenPipes, 0);
  ::sigaction(SIGPIPE, &before, nullptr);
}

}  // namespace
}  // namespace corvane::test
