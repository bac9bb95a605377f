#include "DescriptorLimit.hpp"
#include "SignInFixture.hpp"
#include "ThreadlessQueue.hpp"
#include "UnableHTTPClient.hpp"

#include "oauth/OAuthSession.hpp"
#include "oauth/PKCE.hpp"

#include <Corvane/AnyError.hpp>

#include <gmock/gmock.h>

#include <functional>
#include <set>
#include <utility>
#include <vector>

namespace corvane::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

struct BrowserSignInServiceTest : ::testing::Test {
  SignIn signIn;

  void expectStray(const std::string& request, const char* status) {
    EXPECT_THAT(roundTrip(signIn.host(), request), AllOf(StartsWith(status), HasSubstr("no-store")))
        << request;
  }
  /// The proof that whatever came before did no harm.
  void expectItStillSucceeds() {
    EXPECT_THAT(signIn.comeBack(200, signIn.tokens().dump()), StartsWith("HTTP/1.1 302 Found"));
    EXPECT_TRUE(signIn.outcome().session);
  }
  NSError errorAfter(const JSONDocument& tokens) {
    EXPECT_THAT(signIn.comeBack(200, tokens.dump()), Not(HasSubstr("302")));
    return *signIn.outcome().error;
  }
};

TEST_F(BrowserSignInServiceTest, ThePageIsAskedForAllThatAnInstalledProgramNeeds) {
  signIn.loginHint = "ada+x@example.com";
  signIn.start();
  EXPECT_THAT(signIn.presenter->lastURL, StartsWith("https://accounts.google.com/o/oauth2/v2/auth?"));
  EXPECT_EQ(signIn.parameter("client_id"), clientID);
  EXPECT_EQ(signIn.parameter("response_type"), "code");
  EXPECT_EQ(signIn.parameter("scope"), "openid email https://www.googleapis.com/auth/drive");
  EXPECT_EQ(signIn.parameter("code_challenge_method"), "S256");
  EXPECT_EQ(signIn.parameter("access_type"), "offline");
  EXPECT_EQ(signIn.parameter("prompt"), "consent");
  EXPECT_EQ(signIn.parameter("login_hint"), "ada+x@example.com");
  EXPECT_THAT(signIn.parameter("redirect_uri"),
              ::testing::MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+/[A-Za-z0-9_-]{22}"));
  EXPECT_GE(signIn.parameter("state").size(), 22u);
  EXPECT_GE(signIn.parameter("nonce").size(), 22u);
  EXPECT_EQ(signIn.parameter("code_challenge").size(), 43u);
  EXPECT_THAT(signIn.presenter->lastURL, Not(HasSubstr("the-client-secret")));
  EXPECT_EQ(signIn.presenter->lastWindow, WindowHandle::x11(7));
  EXPECT_EQ(signIn.presenter->thread, std::this_thread::get_id());
}

TEST_F(BrowserSignInServiceTest, NoHintMeansNoHint) {
  signIn.start();
  EXPECT_THAT(signIn.presenter->lastURL, Not(HasSubstr("login_hint")));
}

TEST_F(BrowserSignInServiceTest, EverySignInHasItsOwnSecrets) {
  std::set<std::string> values;
  for (int i = 0; i < 5; ++i) {
    SignIn one;
    one.start();
    for (const auto* name : {"state", "nonce", "code_challenge", "redirect_uri"})
      values.insert(one.parameter(name));
  }
  EXPECT_EQ(values.size(), 20u);
}

TEST_F(BrowserSignInServiceTest, ASuccessExchangesTheCodeThenSendsTheBrowserOnThenCallsTheHandlerOnThePool) {
  signIn.start();
  const RawClient browser(signIn.host());
  browser.send(signIn.goodCallback());
  const auto exchange = signIn.http->next();
  EXPECT_EQ(exchange->request.url, "https://oauth2.googleapis.com/token");
  const auto form = *parseForm(exchange->form());
  const auto value = [&](const char* name) { return std::string(findParameter(form, name)->reveal()); };
  EXPECT_EQ(value("grant_type"), "authorization_code");
  EXPECT_EQ(value("code"), "4/the-code");
  EXPECT_EQ(value("redirect_uri"), signIn.parameter("redirect_uri"));
  EXPECT_EQ(value("client_id"), clientID);
  EXPECT_EQ(value("client_secret"), "the-client-secret");
  EXPECT_EQ(PKCE::challengeFor(Secret(value("code_verifier"))), signIn.parameter("code_challenge"));

  exchange->answer(200, signIn.tokens().dump());
  EXPECT_THAT(browser.receiveAll(),
              StartsWith("HTTP/1.1 302 Found\r\nLocation: https://drive.google.com/\r\n"));
  const auto outcome = signIn.outcome();
  ASSERT_TRUE(outcome.session);
  EXPECT_FALSE(outcome.error);
  EXPECT_EQ(outcome.thread, signIn.pool->threadID());
  EXPECT_EQ(outcome.session->userEmail(), "ada@example.com");
  const auto grant = std::dynamic_pointer_cast<OAuthSession>(outcome.session)->grant();
  EXPECT_EQ(grant.accessToken, Secret("access-token-of-the-exchange"));
  EXPECT_EQ(grant.refreshToken, Secret("refresh-token-of-the-exchange"));
  EXPECT_EQ(grant.clientSecret, Secret("the-client-secret"));
  EXPECT_EQ(grant.tokenEndpoint, "https://oauth2.googleapis.com/token");
  EXPECT_EQ(grant.subject, "1234567890");
  EXPECT_EQ(grant.accessTokenExpiry, signIn.clock.wall() + std::chrono::seconds{3599});
}

TEST_F(BrowserSignInServiceTest, ThePortIsClosedAndThePresentationOverWhenTheHandlerIsCalled) {
  signIn.start();
  const auto host = signIn.host();
  signIn.comeBack(200, signIn.tokens().dump());
  signIn.outcome();
  EXPECT_FALSE(RawClient(host).isConnected());
  EXPECT_TRUE(signIn.presenter->presentation->isOver);
}

TEST_F(BrowserSignInServiceTest, StrayRequestsAreAnsweredAndTheRealCallbackStillGetsThrough) {
  signIn.start();
  const auto state = signIn.parameter("state");
  expectStray(getRequest(signIn.host(), "/favicon.ico"), "HTTP/1.1 404 ");
  expectStray(getRequest(signIn.host(), "/"), "HTTP/1.1 404 ");
  expectStray(signIn.callback("code=x"), "HTTP/1.1 400 ");
  expectStray(signIn.callback("code=x&state=wrong"), "HTTP/1.1 400 ");
  expectStray(signIn.callback("error=access_denied&state=wrong"), "HTTP/1.1 400 ");
  expectStray(signIn.callback("code=x&code=y&state=" + state), "HTTP/1.1 400 ");
  expectStray(signIn.callback("code=x&state=" + state + "&state=" + state), "HTTP/1.1 400 ");
  expectStray(signIn.callback("code=x&error=access_denied&state=" + state), "HTTP/1.1 400 ");
  expectStray(getRequest("evil.example", signIn.path() + "?code=x&state=" + state), "HTTP/1.1 400 ");
  expectStray("POST" + signIn.goodCallback().substr(3), "HTTP/1.1 405 ");
  expectStray("HEAD" + signIn.goodCallback().substr(3), "HTTP/1.1 405 ");
  expectStray("nonsense\r\n\r\n", "HTTP/1.1 400 ");
  expectStray("GET /" + std::string(100'000, 'x') + " HTTP/1.1\r\n\r\n", "HTTP/1.1 431 ");
  RawClient(signIn.host()).close();
  EXPECT_EQ(signIn.http->sent(), 0u);
  expectItStillSucceeds();
}

TEST_F(BrowserSignInServiceTest, SlowClientsAndFloodsDoNotKeepTheRealCallbackOut) {
  signIn.limits.connections = 16;
  signIn.start();
  std::vector<RawClient> flood;
  for (int i = 0; i < 200; ++i) {
    flood.emplace_back(signIn.host());
    flood.back().send("GET " + signIn.path());
  }
  expectItStillSucceeds();
}

TEST_F(BrowserSignInServiceTest, PagesReflectNothingOfTheRequest) {
  signIn.start();
  const auto state = signIn.parameter("state");
  for (const auto& request :
       {getRequest(signIn.host(), "/<script>alert(1)</script>"),
        signIn.callback("state=<script>&code=<script>"), getRequest("<script>", signIn.path()),
        signIn.callback("error=%3Cscript%3E&error_description=%3Cscript%3E&state=" + state)})
    EXPECT_THAT(roundTrip(signIn.host(), request), Not(HasSubstr("script>")));
  const auto error = *signIn.outcome().error;
  EXPECT_EQ(error.domain(), "org.openid.appauth.oauth_authorization");
}

TEST_F(BrowserSignInServiceTest, TheStateCountsOnce) {
  signIn.start();
  const RawClient browser(signIn.host());
  browser.send(signIn.goodCallback());
  const auto exchange = signIn.http->next();
  expectStray(signIn.goodCallback(), "HTTP/1.1 400 ");
  expectStray(signIn.callback("error=access_denied&state=" + signIn.parameter("state")), "HTTP/1.1 400 ");
  exchange->answer(200, signIn.tokens().dump());
  EXPECT_THAT(browser.receiveAll(), HasSubstr("302"));
  EXPECT_TRUE(signIn.outcome().session);
  EXPECT_EQ(signIn.http->sent(), 1u);
}

TEST_F(BrowserSignInServiceTest, ARefusalEndsTheSignInWithTheServersResponse) {
  signIn.start();
  const auto page = roundTrip(
      signIn.host(),
      signIn.callback("error=access_denied&error_description=no+way&state=" + signIn.parameter("state")));
  EXPECT_THAT(page, AllOf(StartsWith("HTTP/1.1 403 "), Not(HasSubstr("no way"))));
  const auto outcome = signIn.outcome();
  EXPECT_FALSE(outcome.session);
  EXPECT_EQ(outcome.thread, signIn.pool->threadID());
  EXPECT_EQ(outcome.error->domain(), "org.openid.appauth.oauth_authorization");
  EXPECT_EQ(outcome.error->code(), -4);
  const auto& response = *outcome.error->userInfo().at("OIDOAuthErrorResponseErrorKey").dictionary();
  EXPECT_EQ(*response.at("error").text(), "access_denied");
  EXPECT_EQ(*response.at("error_description").text(), "no way");
  EXPECT_EQ(signIn.http->sent(), 0u);
}

TEST_F(BrowserSignInServiceTest, AnotherIssuersAnswerEndsTheSignInWithoutAnExchange) {
  signIn.start();
  roundTrip(signIn.host(),
            signIn.callback("code=x&iss=https%3A%2F%2Fevil.example&state=" + signIn.parameter("state")));
  const auto error = *signIn.outcome().error;
  EXPECT_EQ(error.domain(), "TessoraService");
  EXPECT_EQ(error.code(), -102);
  EXPECT_EQ(signIn.http->sent(), 0u);
}

TEST_F(BrowserSignInServiceTest, TheTokenEndpointsFailuresEndTheSignInAndTheBrowserIsNotToldOfSuccess) {
  const std::initializer_list<std::tuple<int, const char*, const char*, std::int64_t>> rows{
      {400, R"({"error":"invalid_grant"})", "org.openid.appauth.oauth_token", -10},
      {401, R"({"error":"invalid_client"})", "org.openid.appauth.oauth_token", -9},
      {500, "<html></html>", "NSURLErrorDomain", -1011},
      {200, "<html></html>", "NSURLErrorDomain", -1017},
      {200, R"({"access_token":"t","token_type":"mac"})", "NSURLErrorDomain", -1017}};
  for (const auto& [status, body, domain, code] : rows) {
    SignIn one;
    one.start();
    EXPECT_THAT(one.comeBack(status, body), StartsWith("HTTP/1.1 502 "));
    const auto outcome = one.outcome();
    EXPECT_FALSE(outcome.session);
    EXPECT_EQ(outcome.error->domain(), domain);
    EXPECT_EQ(outcome.error->code(), code);
    EXPECT_THAT(outcome.error->localizedDescription(),
                AllOf(Not(HasSubstr("the-code")), Not(HasSubstr("the-client-secret"))));
  }
}

TEST_F(BrowserSignInServiceTest, ATransportFailureEndsTheSignIn) {
  signIn.start();
  const RawClient browser(signIn.host());
  browser.send(signIn.goodCallback());
  signIn.http->next()->fail(NSError(NSURLErrorDomain, -1001));
  EXPECT_THAT(browser.receiveAll(), StartsWith("HTTP/1.1 502 "));
  EXPECT_EQ(signIn.outcome().error->code(), -1001);
}

TEST_F(BrowserSignInServiceTest, AnExchangeThatTheClientDropsEndsTheSignIn) {
  signIn.start();
  const RawClient browser(signIn.host());
  browser.send(signIn.goodCallback());
  signIn.http->next()->drop();
  EXPECT_EQ(signIn.outcome().error->code(), -999);
}

TEST_F(BrowserSignInServiceTest, AnIDTokenOfAnotherSignInIsRefused) {
  signIn.start();
  auto tokens = signIn.tokens();
  tokens["id_token"] = idToken(goodClaims("another-nonce", signIn.clock.wall()));
  const auto error = errorAfter(tokens);
  EXPECT_EQ(error.domain(), "org.openid.appauth.general");
  EXPECT_EQ(error.code(), -15);
}

TEST_F(BrowserSignInServiceTest, AMissingIDTokenIsRefused) {
  signIn.start();
  auto tokens = signIn.tokens();
  tokens.erase("id_token");
  EXPECT_EQ(errorAfter(tokens).code(), -14);
}

TEST_F(BrowserSignInServiceTest, AMissingDriveScopeIsToldAsSuch) {
  for (const auto* scope :
       {"openid email", "", "openid email https://www.googleapis.com/auth/drive.readonly"}) {
    SignIn one;
    one.start();
    auto tokens = one.tokens();
    tokens["scope"] = scope;
    EXPECT_THAT(one.comeBack(200, tokens.dump()), StartsWith("HTTP/1.1 403 "));
    const auto error = *one.outcome().error;
    EXPECT_EQ(error.domain(), "TessoraService");
    EXPECT_EQ(error.code(), -2);
  }
}

TEST_F(BrowserSignInServiceTest, AnAnswerWithoutScopesGrantsWhatWasAskedFor) {
  signIn.start();
  auto tokens = signIn.tokens();
  tokens.erase("scope");
  signIn.comeBack(200, tokens.dump());
  EXPECT_TRUE(signIn.outcome().session);
}

TEST_F(BrowserSignInServiceTest, NoRefreshTokenIsAnErrorThatSaysWhatToDo) {
  signIn.start();
  auto tokens = signIn.tokens();
  tokens.erase("refresh_token");
  const auto error = errorAfter(tokens);
  EXPECT_EQ(error.code(), -100);
  EXPECT_THAT(error.localizedDescription(), HasSubstr("Remove this program's access"));
}

TEST_F(BrowserSignInServiceTest, ASessionWithoutAnAddressIsHandedOverAndTheBrowserIsNotToldOfSuccess) {
  signIn.start();
  auto claims = goodClaims(signIn.parameter("nonce"), signIn.clock.wall());
  claims.erase("email");
  EXPECT_THAT(signIn.comeBack(200, goodTokens(idToken(claims)).dump()), StartsWith("HTTP/1.1 502 "));
  const auto outcome = signIn.outcome();
  ASSERT_TRUE(outcome.session);
  EXPECT_EQ(outcome.session->userEmail(), std::nullopt);
}

TEST_F(BrowserSignInServiceTest, AClockThatIsFarAheadRefusesTheIDTokenAndSaysToCheckIt) {
  signIn.start();
  const auto tokens = signIn.tokens();
  signIn.clock.setWallBy(std::chrono::hours{2});
  const auto error = errorAfter(tokens);
  EXPECT_EQ(error.code(), -15);
  EXPECT_THAT(error.localizedDescription(), HasSubstr("check the clock of this computer"));
}

TEST_F(BrowserSignInServiceTest, AClockThatIsSetBackDuringTheSignInIsNoMatter) {
  signIn.start();
  const auto tokens = signIn.tokens();
  signIn.clock.setWallBy(std::chrono::hours{-100'000});
  signIn.comeBack(200, tokens.dump());
  const auto outcome = signIn.outcome();
  ASSERT_TRUE(outcome.session);
  signIn.clock.advance(std::chrono::seconds{3500});
  const auto good = outcome.session->accessToken({}, [](auto token) { EXPECT_TRUE(token); });
  EXPECT_EQ(signIn.http->sent(), 1u)
      << "the token lasts as long as the server said, by a clock that nobody sets";
  signIn.clock.advance(std::chrono::seconds{100});
  const auto late = outcome.session->accessToken({}, [](auto) {});
  signIn.http->next();
}

TEST_F(BrowserSignInServiceTest, ABrowserThatHasGoneDuringTheExchangeIsNoMatter) {
  signIn.start();
  RawClient browser(signIn.host());
  browser.send(signIn.goodCallback());
  const auto exchange = signIn.http->next();
  browser.close();
  exchange->answer(200, signIn.tokens().dump());
  EXPECT_TRUE(signIn.outcome().session);
}

void expectDismissed(const NSError& error) {
  EXPECT_EQ(error.domain(), "org.openid.appauth.general");
  EXPECT_EQ(error.code(), -3);
  const auto underlying = error.underlyingError()->nsError();
  EXPECT_EQ(underlying.domain(), "com.apple.AuthenticationServices.WebAuthenticationSession");
  EXPECT_EQ(underlying.code(), 1);
}

TEST_F(BrowserSignInServiceTest, ADismissalEndsTheSignIn) {
  signIn.start();
  const auto host = signIn.host();
  signIn.presenter->dismiss();
  const auto outcome = signIn.outcome();
  expectDismissed(*outcome.error);
  EXPECT_EQ(outcome.thread, signIn.pool->threadID());
  EXPECT_FALSE(RawClient(host).isConnected());
}

TEST_F(BrowserSignInServiceTest, ADismissalBeforeThePresenterReturnsEndsTheSignIn) {
  signIn.presenter->dismissAtOnce = true;
  signIn.start();
  expectDismissed(*signIn.outcome().error);
  EXPECT_TRUE(signIn.presenter->presentation->isOver);
}

TEST_F(BrowserSignInServiceTest, ADismissalDuringTheExchangeEndsThatToo) {
  signIn.start();
  const RawClient browser(signIn.host());
  browser.send(signIn.goodCallback());
  const auto exchange = signIn.http->next();
  signIn.presenter->dismiss();
  expectDismissed(*signIn.outcome().error);
  EXPECT_TRUE(exchange->isCancelled());
}

TEST_F(BrowserSignInServiceTest, ADismissalAfterTheEndIsNoMatter) {
  signIn.start();
  signIn.comeBack(200, signIn.tokens().dump());
  EXPECT_TRUE(signIn.outcome().session);
  signIn.presenter->dismiss();
  signIn.service = nullptr;
  signIn.presenter->dismiss();
}

TEST_F(BrowserSignInServiceTest, CancellingWhileWaitingClosesThePortAndReleasesTheHandler) {
  signIn.start();
  const auto host = signIn.host();
  const RawClient client(host);
  signIn.service->cancel();
  EXPECT_TRUE(signIn.handlerLife.expired());
  EXPECT_TRUE(signIn.presenter->presentation->isOver);
  EXPECT_EQ(client.receiveAll(), "");
  EXPECT_FALSE(RawClient(host).isConnected());
}

TEST_F(BrowserSignInServiceTest, CancellingDuringTheExchangeEndsIt) {
  signIn.start();
  const RawClient browser(signIn.host());
  browser.send(signIn.goodCallback());
  const auto exchange = signIn.http->next();
  signIn.service->cancel();
  EXPECT_TRUE(signIn.handlerLife.expired());
  EXPECT_EQ(browser.receiveAll(), "");
  // A request may be reached by its cancellation just before the listener's thread has stored it.
  signIn.service = nullptr;
  EXPECT_TRUE(exchange->isCancelled());
}

TEST_F(BrowserSignInServiceTest, DroppingTheServiceCancels) {
  signIn.start();
  const auto host = signIn.host();
  signIn.service = nullptr;
  EXPECT_TRUE(signIn.handlerLife.expired());
  EXPECT_FALSE(RawClient(host).isConnected());
}

TEST_F(BrowserSignInServiceTest, CancellingBeforeTheHandlersTurnOnThePoolReleasesItUncalled) {
  signIn.start();
  std::promise<void> release;
  signIn.pool->async([released = release.get_future().share()] { released.wait(); });
  signIn.comeBack(200, signIn.tokens().dump());  // the browser has its answer, the handler waits for the pool
  signIn.service->cancel();
  EXPECT_TRUE(signIn.handlerLife.expired());
  release.set_value();
}

TEST_F(BrowserSignInServiceTest, CancellingTwiceOrBeforeOrAfterIsNoMatter) {
  signIn.start();
  signIn.comeBack(200, signIn.tokens().dump());
  EXPECT_TRUE(signIn.outcome().session);
  signIn.service->cancel();
  signIn.service->cancel();
  BrowserSignInService unused(QVTessoraCredentials("x", Secret()), *URL::parse("https://x.example/"), {});
  unused.cancel();
}

TEST_F(BrowserSignInServiceTest, TheHandlerMayDropTheService) {
  signIn.start();
  std::promise<void> done;
  auto* service = signIn.service.get();
  service->runSignIn(WindowHandle::terminal(), [&](auto, auto) {
    signIn.service = nullptr;
    done.set_value();
  });
  signIn.presenter->dismiss();
  done.get_future().wait();
}

TEST_F(BrowserSignInServiceTest, ASecondRunCancelsTheFirst) {
  signIn.start();
  const auto firstHost = signIn.host();
  signIn.service->runSignIn(WindowHandle::terminal(), [](auto, auto) {});
  EXPECT_TRUE(signIn.handlerLife.expired());
  EXPECT_FALSE(RawClient(firstHost).isConnected());
  EXPECT_TRUE(RawClient(signIn.host()).isConnected());
}

TEST_F(BrowserSignInServiceTest, ASignInWorksByWayOfIPv6) {
  signIn.limits.addresses = {"192.0.2.1", "::1"};  // the first is for documentation only (RFC 5737)
  signIn.start();
  if (signIn.presenter->lastURL.empty()) GTEST_SKIP() << "this machine has no IPv6 loopback";
  EXPECT_THAT(signIn.parameter("redirect_uri"), StartsWith("http://[::1]:"));
  expectItStillSucceeds();
}

TEST_F(BrowserSignInServiceTest, WithoutALoopbackPortTheHandlerIsToldAndNoPageIsOpened) {
  signIn.limits.addresses = {"192.0.2.1"};
  signIn.start();
  const auto outcome = signIn.outcome();
  EXPECT_EQ(outcome.error->domain(), "TessoraService");
  EXPECT_EQ(outcome.error->code(), -101);
  EXPECT_EQ(outcome.thread, signIn.pool->threadID());
  EXPECT_EQ(signIn.presenter->lastURL, "");
}

TEST_F(BrowserSignInServiceTest, WithoutAFreeDescriptorTheHandlerIsToldAndNoPageIsOpened) {
  if (sanitizersNeedDescriptors) GTEST_SKIP() << "the sanitizers need descriptors themselves";
  {
    const DescriptorLimit noneFree(0);
    signIn.start();
  }
  EXPECT_EQ(signIn.outcome().error->code(), -101);
  EXPECT_EQ(signIn.presenter->lastURL, "");
}

TEST_F(BrowserSignInServiceTest, APoolWithoutAThreadCostsNoOutcome) {
  using Way = std::function<void(SignIn&)>;
  const std::initializer_list<std::pair<Way, std::optional<std::int64_t>>> rows{
      {[](SignIn& one) { one.comeBack(200, one.tokens().dump()); }, std::nullopt},
      {[](SignIn& one) { one.presenter->dismiss(); }, -3},
      {[](SignIn& one) {
         roundTrip(one.host(), one.callback("error=access_denied&state=" + one.parameter("state")));
       },
       -4},
      {[](SignIn& one) {
         const RawClient browser(one.host());
         browser.send(one.goodCallback());
         one.http->next()->drop();
       },
       -999}};
  for (const auto& [end, code] : rows) {
    SignIn one;
    one.otherPool = std::make_shared<ThreadlessQueue>();
    one.start();
    end(one);
    const auto outcome = one.outcome();
    EXPECT_EQ(outcome.session != nullptr, !code);
    EXPECT_EQ(outcome.error ? std::optional(outcome.error->code()) : std::nullopt, code);
    EXPECT_FALSE(RawClient(one.host()).isConnected());
  }
}

TEST_F(BrowserSignInServiceTest, AnExchangeThatCannotBeSentEndsTheSignInAlsoWithoutAPool) {
  signIn.otherHTTP = std::make_shared<UnableHTTPClient>();
  signIn.otherPool = std::make_shared<ThreadlessQueue>();
  signIn.start();
  EXPECT_THAT(roundTrip(signIn.host(), signIn.goodCallback()), StartsWith("HTTP/1.1 502 "));
  const auto outcome = signIn.outcome();
  EXPECT_FALSE(outcome.session);
  EXPECT_EQ(outcome.error->domain(), "NSURLErrorDomain");
  EXPECT_EQ(outcome.error->code(), -1004);
}

TEST_F(BrowserSignInServiceTest, WithNeitherPortNorThreadTheHandlerIsToldAtOnce) {
  signIn.limits.addresses = {"192.0.2.1"};
  signIn.otherPool = std::make_shared<ThreadlessQueue>();
  signIn.start();
  EXPECT_EQ(signIn.outcome().error->code(), -101);
}

TEST_F(BrowserSignInServiceTest, TheHandlerMayDropTheServiceWhenThePoolHasNoThread) {
  signIn.otherPool = std::make_shared<ThreadlessQueue>();
  signIn.start();
  std::promise<void> done;
  auto* service = signIn.service.get();
  service->runSignIn(WindowHandle::terminal(), [&](auto, auto) {
    signIn.service = nullptr;
    done.set_value();
  });
  signIn.presenter->dismiss();
  done.get_future().wait();
}

TEST_F(BrowserSignInServiceTest, TwoSignInsAtOnceDoNotGetEachOthersAnswers) {
  SignIn other;
  signIn.start();
  other.start();
  // The callback of one at the port and the path of the other.
  const auto crossed = getRequest(other.host(), other.path() + "?code=x&state=" + signIn.parameter("state"));
  EXPECT_THAT(roundTrip(other.host(), crossed), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(roundTrip(other.host(), getRequest(other.host(), signIn.path() + "?code=x")),
              StartsWith("HTTP/1.1 404 "));
  auto claims = goodClaims(other.parameter("nonce"), other.clock.wall());
  claims["email"] = "bob@example.com";
  other.comeBack(200, goodTokens(idToken(claims)).dump());
  signIn.comeBack(200, signIn.tokens().dump());
  EXPECT_EQ(other.outcome().session->userEmail(), "bob@example.com");
  EXPECT_EQ(signIn.outcome().session->userEmail(), "ada@example.com");
}

}  // namespace
}  // namespace corvane::test
