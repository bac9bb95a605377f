#include "SignInFixture.hpp"
#include "oauth/OneUseAddress.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace corvane::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;
using Visit = OneUseAddress::Visit;

const std::string host = "127.0.0.1:4242";

struct OneUseAddressTest : ::testing::Test {
  OneUseAddress address{host};
  std::string path = address.url().substr(7 + host.size());

  Visit visit(const std::string& headers = {}, const std::string& method = "GET") {
    return address.judge(method + " " + path + " HTTP/1.1\r\nHost: " + host + "\r\n" + headers + "\r\n",
                         [this] { return isStranger; });
  }
  bool isStranger = false;
  /// As a browser sends it back.
  std::string cookie() const {
    const auto header = address.cookieHeader();
    const auto begin = header.find(": ") + 2;
    return header.substr(begin, header.find(';') - begin);
  }
};

TEST_F(OneUseAddressTest, IsShortAndSaysNothing) {
  EXPECT_THAT(address.url(), MatchesRegex("http://127\\.0\\.0\\.1:4242/[A-Za-z0-9_-]{22}"));
  EXPECT_NE(address.url(), OneUseAddress(host).url());
}

TEST_F(OneUseAddressTest, WelcomesTheFirstVisitorOnly) {
  EXPECT_EQ(visit(), Visit::welcome);
  EXPECT_EQ(visit(), Visit::second);
  EXPECT_EQ(visit(), Visit::second);
}

TEST_F(OneUseAddressTest, WelcomesTheSameBrowserAgain) {
  EXPECT_EQ(visit(), Visit::welcome);
  EXPECT_EQ(visit("Cookie: a=b; " + cookie() + "; c=d\r\n"), Visit::welcome);
  EXPECT_EQ(visit("cookie:" + cookie() + "\r\n"), Visit::welcome);
  EXPECT_EQ(visit("Cookie: " + cookie() + "x\r\n"), Visit::second);
  EXPECT_EQ(visit("Cookie: x" + cookie() + "\r\n"), Visit::second);
  EXPECT_EQ(visit("Cookie: ;;; ;\r\n"), Visit::second);
}

TEST_F(OneUseAddressTest, CookieGoesToThisAddressAloneAndToNoScript) {
  EXPECT_THAT(address.cookieHeader(), AllOf(HasSubstr("; Path=" + path + ";"), HasSubstr("; HttpOnly"),
                                            HasSubstr("; SameSite="), Not(HasSubstr("Domain"))));
}

TEST_F(OneUseAddressTest, HeadAndLoadingAheadDoNotCount) {
  EXPECT_EQ(visit({}, "HEAD"), Visit::methodNotAllowed);
  EXPECT_EQ(visit({}, "POST"), Visit::methodNotAllowed);
  for (const auto* header : {"Sec-Purpose: prefetch\r\n", "Sec-Purpose: prefetch;prerender\r\n",
                             "Purpose: prefetch\r\n", "X-Moz: prefetch\r\n", "X-Purpose: preview\r\n"})
    EXPECT_EQ(visit(header), Visit::ahead) << header;
  EXPECT_EQ(visit(), Visit::welcome);
}

TEST_F(OneUseAddressTest, AnotherUserIsNotLetInAndDoesNotCount) {
  isStranger = true;
  EXPECT_EQ(visit(), Visit::stranger);
  isStranger = false;
  EXPECT_EQ(visit(), Visit::welcome);
  isStranger = true;
  EXPECT_EQ(visit(), Visit::stranger);
}

TEST_F(OneUseAddressTest, OtherPathsAndHostsAreNoVisit) {
  const auto none = []() -> bool { throw std::logic_error("only a visit has a visitor"); };
  for (const auto& [target, named] : {std::pair<std::string, std::string>{"/favicon.ico", host},
                                      {"/", host},
                                      {path + "/", host},
                                      {path, "evil.example"},
                                      {path, "localhost:4242"}})
    EXPECT_EQ(address.judge("GET " + target + " HTTP/1.1\r\nHost: " + named + "\r\n\r\n", none),
              Visit::elsewhere)
        << target << named;
  EXPECT_EQ(address.judge("nonsense", none), Visit::elsewhere);
  EXPECT_EQ(visit(), Visit::welcome);
}

struct OneUseSignIn : ::testing::Test {
  SignIn signIn;

  void SetUp() override { signIn.start(); }
  void expectOpenedTwice() {
    const auto outcome = signIn.outcome();
    EXPECT_FALSE(outcome.session);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->domain(), signInServiceErrorDomain);
    EXPECT_EQ(outcome.error->code(), signInOpenedTwiceCode);
    EXPECT_THAT(
        outcome.error->localizedDescription(),
        HasSubstr("The sign-in address was opened twice: another program on this machine may have seen it"));
  }
};

TEST_F(OneUseSignIn, LeadsToThePageWithoutALeftover) {
  EXPECT_THAT(signIn.presenter->oneUseURL, StartsWith("http://" + signIn.host() + "/"));
  const auto reply = signIn.visit();
  EXPECT_THAT(reply, StartsWith("HTTP/1.1 302 Found\r\nLocation: " + signIn.presenter->lastURL + "\r\n"));
  EXPECT_THAT(reply,
              AllOf(HasSubstr("Cache-Control: no-store\r\n"), HasSubstr("Referrer-Policy: no-referrer\r\n")));
  EXPECT_THAT(signIn.comeBack(200, signIn.tokens().dump()), StartsWith("HTTP/1.1 302 Found"));
  EXPECT_TRUE(signIn.outcome().session);
}

TEST_F(OneUseSignIn, TellsNothingOfThePageInTheAddress) {
  for (const auto* name : {"state", "nonce", "code_challenge"})
    EXPECT_THAT(signIn.presenter->oneUseURL, Not(HasSubstr(signIn.parameter(name)))) << name;
  EXPECT_THAT(signIn.presenter->oneUseURL, Not(HasSubstr(signIn.path())));
}

TEST_F(OneUseSignIn, ASecondVisitorEndsTheSignInAndIsToldWhy) {
  signIn.visit();
  EXPECT_THAT(signIn.visit(),
              AllOf(StartsWith("HTTP/1.1 403 "), HasSubstr("opened twice"), Not(HasSubstr("Location"))));
  expectOpenedTwice();
  EXPECT_FALSE(RawClient(signIn.host()).isConnected());
  EXPECT_TRUE(signIn.presenter->presentation->isOver);
}

// The first visitor may be a stranger whose code of an account of their own is exchanged already.
TEST_F(OneUseSignIn, ASecondVisitorEndsTheSignInDuringTheExchangeToo) {
  signIn.visit();
  const RawClient stranger(signIn.host());
  stranger.send(signIn.goodCallback());
  const auto exchange = signIn.http->next();
  EXPECT_THAT(signIn.visit(), HasSubstr("opened twice"));
  expectOpenedTwice();
  EXPECT_THAT(stranger.receiveAll(), HasSubstr("opened twice"));
  signIn.service = nullptr;
  EXPECT_TRUE(exchange->isCancelled());
}

TEST_F(OneUseSignIn, AReloadInTheSameBrowserGoesOn) {
  const auto reply = signIn.visit();
  const auto begin = reply.find("Set-Cookie: ") + 12;
  const auto cookie = "Cookie: " + reply.substr(begin, reply.find(';', begin) - begin) + "\r\n";
  EXPECT_THAT(signIn.visit(cookie), StartsWith("HTTP/1.1 302 "));
  EXPECT_THAT(signIn.visit(cookie), StartsWith("HTTP/1.1 302 "));
  EXPECT_THAT(signIn.comeBack(200, signIn.tokens().dump()), StartsWith("HTTP/1.1 302 Found"));
  EXPECT_TRUE(signIn.outcome().session);
}

TEST_F(OneUseSignIn, PrefetchAndHeadGetNothingAndTheVisitStillWorks) {
  EXPECT_THAT(signIn.visit("Sec-Purpose: prefetch\r\n"),
              AllOf(StartsWith("HTTP/1.1 503 "), Not(HasSubstr("state="))));
  EXPECT_THAT(signIn.visit({}, "HEAD"), AllOf(StartsWith("HTTP/1.1 405 "), Not(HasSubstr("state="))));
  EXPECT_THAT(roundTrip(signIn.host(), getRequest(signIn.host(), "/favicon.ico")),
              StartsWith("HTTP/1.1 404 "));
  EXPECT_THAT(signIn.visit(), StartsWith("HTTP/1.1 302 "));
}

/// What a program of another user gets for a request; nothing when this one may not start such a program.
std::optional<std::string> asAnotherUser(const std::string& address, const std::string& request) {
  constexpr uid_t another = 12'345;
  std::array<int, 2> pipe{};
  if (::geteuid() != 0 || ::pipe2(pipe.data(), O_CLOEXEC) != 0) return std::nullopt;
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setuid(another) != 0) ::_exit(1);
    const auto reply = roundTrip(address, request);
    const auto written = ::write(pipe[1], reply.data(), reply.size());
    ::_exit(written == static_cast<ssize_t>(reply.size()) ? 0 : 1);
  }
  ::close(pipe[1]);
  std::string reply;
  std::array<char, 4096> buffer{};
  for (ssize_t count = 1; count > 0;) {
    count = ::read(pipe[0], buffer.data(), buffer.size());
    if (count > 0) reply.append(buffer.data(), static_cast<std::size_t>(count));
  }
  ::close(pipe[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  return status == 0 ? std::optional(reply) : std::nullopt;
}

TEST_F(OneUseSignIn, AnotherUserOfTheMachineGetsNothingAndEndsNothing) {
  const auto request =
      getRequest(signIn.host(), signIn.presenter->oneUseURL.substr(7 + signIn.host().size()));
  const auto reply = asAnotherUser(signIn.host(), request);
  if (!reply) GTEST_SKIP() << "no right to be another user here";
  EXPECT_THAT(*reply,
              AllOf(StartsWith("HTTP/1.1 403 "), HasSubstr("another user"), Not(HasSubstr("state="))));
  EXPECT_THAT(signIn.visit(), StartsWith("HTTP/1.1 302 "));
  EXPECT_THAT(*asAnotherUser(signIn.host(), request), StartsWith("HTTP/1.1 403 "));
  EXPECT_THAT(signIn.comeBack(200, signIn.tokens().dump()), StartsWith("HTTP/1.1 302 Found"));
  EXPECT_TRUE(signIn.outcome().session);
}

// Whose it was can no longer be told, and a browser waits for its answer.
TEST_F(OneUseSignIn, VisitorThatIsGoneAtOnceDoesNotCount) {
  const auto request =
      getRequest(signIn.host(), signIn.presenter->oneUseURL.substr(7 + signIn.host().size()));
  const RawClient visitor(signIn.host());
  visitor.sendLast(request);
  EXPECT_THAT(visitor.receiveAll(), AllOf(StartsWith("HTTP/1.1 403 "), Not(HasSubstr("state="))));
  EXPECT_THAT(signIn.visit(), StartsWith("HTTP/1.1 302 "));
}

TEST_F(OneUseSignIn, SignsInWithoutAnyVisitWhenThePageItselfWasOpened) {
  EXPECT_THAT(signIn.comeBack(200, signIn.tokens().dump()), StartsWith("HTTP/1.1 302 Found"));
  EXPECT_TRUE(signIn.outcome().session);
}

}  // namespace
}  // namespace corvane::test
