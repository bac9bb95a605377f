#include "ManualClock.hpp"
#include "ScriptedHTTPClient.hpp"
#include "oauth/OAuthErrors.hpp"
#include "oauth/OAuthSession.hpp"
#include "support/ManualQueue.hpp"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace corvane::test {
namespace {

using std::chrono::hours;
using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct OAuthSessionTest : ::testing::Test {
  std::shared_ptr<ScriptedHTTPClient> http = std::make_shared<ScriptedHTTPClient>();
  std::shared_ptr<ManualQueue> pool = std::make_shared<ManualQueue>();
  ManualClock clock;
  std::shared_ptr<OAuthSession> session = make(seconds{3600});
  /// What the waiters were told, by their names: a token, or an error's code.
  std::vector<std::string> answers;

  std::shared_ptr<OAuthSession> make(seconds lifetime) {
    OAuthGrant grant;
    grant.clientID = "client-1";
    grant.clientSecret = Secret("client-secret");
    grant.tokenEndpoint = "https://oauth2.example/token";
    grant.accessToken = Secret("token-1");
    grant.accessTokenExpiry = clock.wall() + lifetime;
    grant.refreshToken = Secret("refresh/1");
    grant.email = "ada@example.com";
    return std::make_shared<OAuthSession>(std::move(grant), http, pool, clock.clock());
  }

  AnyCancellable ask(const std::string& name, std::optional<Secret> rejected = {}) {
    return session->accessToken(std::move(rejected), [this, name](Result<Secret, NSError> result) {
      answers.push_back(name + ": " +
                        (result ? std::string(result.value().reveal())
                                : result.error().domain() + " " + std::to_string(result.error().code())));
    });
  }

  static std::string tokens(const std::string& token, int lifetime = 3600) {
    return R"({"access_token":")" + token + R"(","token_type":"Bearer","expires_in":)" +
           std::to_string(lifetime) + "}";
  }
};

TEST_F(OAuthSessionTest, AFreshTokenIsGivenAtOnce) {
  const auto waiting = ask("a");
  EXPECT_THAT(answers, ElementsAre("a: token-1"));
  EXPECT_EQ(http->sent(), 0u);
}

TEST_F(OAuthSessionTest, TheTokenIsRefreshedSixtySecondsBeforeItsExpiry) {
  clock.advance(seconds{3540});
  const auto good = ask("good");
  EXPECT_EQ(http->sent(), 0u);
  clock.advance(seconds{1});
  const auto late = ask("late");
  const auto exchange = http->next();
  EXPECT_EQ(exchange->request.url, "https://oauth2.example/token");
  EXPECT_EQ(
      exchange->form(),
      "grant_type=refresh_token&refresh_token=refresh%2F1&client_id=client-1&client_secret=client-secret");
  exchange->answer(200, tokens("token-2"));
  const auto next = ask("next");
  EXPECT_THAT(answers, ElementsAre("good: token-1", "late: token-2", "next: token-2"));
  EXPECT_EQ(http->sent(), 1u);
}

TEST_F(OAuthSessionTest, AHundredRequestsWithAnExpiredTokenMakeOneRefresh) {
  clock.advance(hours{2});
  std::vector<AnyCancellable> waiting;
  for (int i = 0; i < 100; ++i) waiting.push_back(ask("a"));
  EXPECT_EQ(http->sent(), 1u);
  http->next()->answer(200, tokens("token-2"));
  EXPECT_EQ(answers, std::vector<std::string>(100, "a: token-2"));
}

TEST_F(OAuthSessionTest, ACancelledWaiterDoesNotStopTheOthers) {
  clock.advance(hours{2});
  auto first = ask("first");
  const auto second = ask("second");
  first.cancel();
  const auto exchange = http->next();
  EXPECT_FALSE(exchange->isCancelled());
  exchange->answer(200, tokens("token-2"));
  EXPECT_THAT(answers, ElementsAre("second: token-2"));
}

TEST_F(OAuthSessionTest, TheLastWaiterToCancelEndsTheRefreshAndTheNextRequestStartsAnother) {
  clock.advance(hours{2});
  auto first = ask("first");
  auto second = ask("second");
  const auto abandoned = http->next();
  first.cancel();
  second.cancel();
  EXPECT_TRUE(abandoned->isCancelled());
  const auto third = ask("third");
  http->next()->answer(200, tokens("token-2"));
  EXPECT_THAT(answers, ElementsAre("third: token-2"));
}

TEST_F(OAuthSessionTest, AHandlerMayCancelAnotherThatWaits) {
  clock.advance(hours{2});
  AnyCancellable second;
  const auto first = session->accessToken({}, [&](auto) {
    answers.push_back("first");
    second.cancel();
  });
  second = ask("second");
  http->next()->answer(200, tokens("token-2"));
  EXPECT_THAT(answers, ElementsAre("first"));
}

TEST_F(OAuthSessionTest, AHandlerMayAskAgain) {
  clock.advance(hours{2});
  AnyCancellable inner;
  const auto outer = session->accessToken({}, [&](auto result) { inner = ask("inner", result.value()); });
  http->next()->answer(200, tokens("token-2"));
  http->next()->answer(200, tokens("token-3"));
  EXPECT_THAT(answers, ElementsAre("inner: token-3"));
}

TEST_F(OAuthSessionTest, ARejectedTokenIsRefreshedWhateverItsAge) {
  const auto waiting = ask("a", Secret("token-1"));
  EXPECT_THAT(answers, IsEmpty());
  http->next()->answer(200, tokens("token-2"));
  EXPECT_THAT(answers, ElementsAre("a: token-2"));
}

TEST_F(OAuthSessionTest, ATokenRejectedEarlierThanTheLastRefreshIsNotRefreshedAgain) {
  const auto first = ask("first", Secret("token-1"));
  http->next()->answer(200, tokens("token-2"));
  const auto late = ask("late", Secret("token-1"));
  EXPECT_THAT(answers, ElementsAre("first: token-2", "late: token-2"));
  EXPECT_EQ(http->sent(), 1u);
}

TEST_F(OAuthSessionTest, WhoAsksDuringARefreshJoinsIt) {
  const auto first = ask("first", Secret("token-1"));
  const auto second = ask("second");
  EXPECT_THAT(answers, IsEmpty());
  http->next()->answer(200, tokens("token-2"));
  EXPECT_THAT(answers, ElementsAre("first: token-2", "second: token-2"));
}

TEST_F(OAuthSessionTest, AFailedRefreshFailsAllWhoWaitAndTheNextRequestTriesAgain) {
  clock.advance(hours{2});
  const auto first = ask("first");
  const auto second = ask("second");
  http->next()->answer(503, "<html></html>");
  const auto third = ask("third");
  http->next()->fail(NSError(NSURLErrorDomain, -1009));
  const auto fourth = ask("fourth");
  http->next()->answer(200, tokens("token-2"));
  EXPECT_THAT(answers, ElementsAre("first: NSURLErrorDomain -1011", "second: NSURLErrorDomain -1011",
                                   "third: NSURLErrorDomain -1009", "fourth: token-2"));
}

TEST_F(OAuthSessionTest, AnInvalidGrantIsToldAndTheSessionStaysUsable) {
  clock.advance(hours{2});
  const auto first = ask("first");
  http->next()->answer(400, R"({"error":"invalid_grant"})");
  const auto second = ask("second");
  http->next()->answer(200, tokens("token-2"));
  EXPECT_THAT(answers, ElementsAre("first: org.openid.appauth.oauth_token -10", "second: token-2"));
}

TEST_F(OAuthSessionTest, ARefreshThatTheClientDropsFailsThoseWhoWait) {
  clock.advance(hours{2});
  const auto waiting = ask("a");
  http->next()->drop();
  pool->runAll();
  EXPECT_THAT(answers, ElementsAre("a: NSURLErrorDomain -999"));
}

TEST_F(OAuthSessionTest, ATokenThatNeverLastsIsRefreshedForEachRequestWithoutLooping) {
  clock.advance(hours{2});
  const auto first = ask("first");
  http->next()->answer(200, tokens("token-2", 0));
  const auto second = ask("second");
  http->next()->answer(200, tokens("token-3", -7));
  EXPECT_THAT(answers, ElementsAre("first: token-2", "second: token-3"));
  EXPECT_EQ(http->sent(), 2u);
}

TEST_F(OAuthSessionTest, ARotatedRefreshTokenIsUsedFromThenOn) {
  clock.advance(hours{2});
  const auto first = ask("first");
  http->next()->answer(
      200, R"({"access_token":"t","token_type":"Bearer","expires_in":1,"refresh_token":"refresh-2"})");
  const auto second = ask("second");
  EXPECT_THAT(http->next()->form(), HasSubstr("refresh_token=refresh-2&"));
  EXPECT_EQ(session->grant().refreshToken, Secret("refresh-2"));
}

TEST_F(OAuthSessionTest, AWallClockThatIsSetChangesNothingOnceTheSessionIsThere) {
  clock.setWallBy(hours{10'000});
  const auto first = ask("first");
  clock.setWallBy(hours{-20'000});
  const auto second = ask("second");
  EXPECT_THAT(answers, ElementsAre("first: token-1", "second: token-1"));
  clock.advance(seconds{3550});
  const auto third = ask("third");
  EXPECT_EQ(http->sent(), 1u);
}

TEST_F(OAuthSessionTest, AWallClockThatJumpsWhileATokenIsAliveNeitherKillsNorKeepsIt) {
  for (const auto jump : {hours{-200'000}, hours{-2}, hours{2}, hours{200'000}}) {
    session = make(seconds{3600});
    answers.clear();
    const auto sentBefore = http->sent();
    clock.setWallBy(jump);
    clock.advance(seconds{3540});
    const auto alive = ask("alive");
    EXPECT_EQ(http->sent(), sentBefore);
    clock.setWallBy(-jump);
    clock.advance(seconds{1});
    const auto late = ask("late");
    EXPECT_EQ(http->sent(), sentBefore + 1);
    http->next()->answer(200, tokens("token-2", 100));
    clock.setWallBy(jump);
    clock.advance(seconds{40});
    const auto next = ask("next");
    clock.advance(seconds{1});
    const auto last = ask("last");
    http->next()->answer(200, tokens("token-3"));
    EXPECT_THAT(answers, ElementsAre("alive: token-1", "late: token-2", "next: token-2", "last: token-3"));
  }
}

// A session from the keychain can only be judged by the wall clock; then the server's 401 puts it right.
TEST_F(OAuthSessionTest, AStoredTokenThatAClockSetBackMakesLookGoodIsRefreshedOnceTheServerRejectsIt) {
  clock.advance(hours{5});
  const auto storedFor = hours{-5} + hours{1};
  clock.setWallBy(hours{-5});
  session = make(storedFor + hours{5});
  const auto first = ask("first");
  const auto again = ask("again", Secret("token-1"));
  http->next()->answer(200, tokens("token-2"));
  const auto next = ask("next");
  EXPECT_THAT(answers, ElementsAre("first: token-1", "again: token-2", "next: token-2"));
  EXPECT_EQ(http->sent(), 1u);
}

TEST_F(OAuthSessionTest, AnExpiryFarInTheFutureIsNotBelievedForMoreThanADay) {
  session = make(hours{1'000'000});
  clock.advance(hours{24});
  const auto waiting = ask("a");
  EXPECT_EQ(http->sent(), 1u);
}

TEST_F(OAuthSessionTest, AnExpiryInThePastIsExpired) {
  session = make(hours{-1'000'000});
  const auto waiting = ask("a");
  EXPECT_EQ(http->sent(), 1u);
}

TEST_F(OAuthSessionTest, TheGrantTellsTheExpiryByTheWallClockOfNow) {
  clock.setWallBy(hours{1});
  clock.advance(seconds{100});
  EXPECT_EQ(session->grant().accessTokenExpiry, clock.wall() + seconds{3500});
}

TEST_F(OAuthSessionTest, ARefreshKeepsTheSessionAliveUntilItIsOver) {
  clock.advance(hours{2});
  const auto waiting = ask("a");
  const std::weak_ptr<OAuthSession> weak = session;
  session = nullptr;
  EXPECT_FALSE(weak.expired());
  http->next()->answer(200, tokens("token-2"));
  EXPECT_THAT(answers, ElementsAre("a: token-2"));
  EXPECT_TRUE(weak.expired());
}

TEST_F(OAuthSessionTest, DroppingTheCancellableReleasesTheHandlerAndTheSession) {
  clock.advance(hours{2});
  const auto held = std::make_shared<int>(1);
  const std::weak_ptr<OAuthSession> weak = session;
  {
    const auto waiting = session->accessToken({}, [held](auto) {});
    session = nullptr;
  }
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_TRUE(weak.expired());
}

TEST_F(OAuthSessionTest, AClientWithoutASecretSendsNone) {
  OAuthGrant grant = session->grant();
  grant.clientSecret = Secret();
  session = std::make_shared<OAuthSession>(grant, http, pool, clock.clock());
  const auto waiting = ask("a", Secret("token-1"));
  EXPECT_THAT(http->next()->form(), ::testing::Not(HasSubstr("client_secret")));
}

TEST_F(OAuthSessionTest, AnEmptyAddressIsNoAddress) {
  EXPECT_EQ(session->userEmail(), "ada@example.com");
  OAuthGrant grant = session->grant();
  grant.email = "";
  EXPECT_EQ(OAuthSession(grant, http, pool, clock.clock()).userEmail(), std::nullopt);
}

}  // namespace
}  // namespace corvane::test
