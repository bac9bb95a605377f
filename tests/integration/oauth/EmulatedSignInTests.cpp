#include "PlainBrowser.hpp"
#include "asio/AsioQueues.hpp"
#include "curl/CurlNetwork.hpp"
#include "oauth/BrowserSignInService.hpp"
#include "oauth/FormEncoding.hpp"
#include "oauth/JSONSessionArchive.hpp"

#include <Corvane/AnyError.hpp>
#include <CorvaneEmulator/Emulator.hpp>

#include <gmock/gmock.h>

#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvane::test {
namespace {

using emulator::Consent;
using emulator::Emulator;
using emulator::Fault;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

struct EmulatedSignIn : ::testing::Test {
  struct Outcome {
    std::shared_ptr<AuthSession> session;
    std::optional<NSError> error;
  };

  static HTTPLimits shortLimits() {
    HTTPLimits limits;
    limits.body = 1u << 20;
    return limits;
  }

  Emulator google{{.accounts = {{.email = "ada@example.com"}, {.email = "bob@example.com"}}}};
  LinuxQueues queues = makeLinuxQueues();
  CurlNetwork network{{shortLimits(), "", "Corvane/test (gzip)", queues.userInitiated}};
  std::shared_ptr<HTTPClient> http = network.makeClient();
  std::shared_ptr<NotingPresenter> presenter = std::make_shared<NotingPresenter>();

  void SetUp() override { google.start(); }
  void TearDown() override { EXPECT_TRUE(google.faults().empty()) << google.faults().description(); }

  std::shared_ptr<BrowserSignInService> start(std::promise<Outcome>& promise, std::string loginHint = {}) {
    SignInEnvironment environment{GoogleEndpoints::at(google.baseURL()), std::move(loginHint), presenter,
                                  http, queues.userInitiated};
    auto service = std::make_shared<BrowserSignInService>(
        QVTessoraCredentials("corvane-demo-client", Secret("corvane-demo-secret")),
        *URL::parse("https://drive.google.com/"), environment);
    service->runSignIn(WindowHandle::terminal(), [&promise](auto session, auto error) {
      promise.set_value({std::move(session), std::move(error)});
    });
    return service;
  }

  /// What the browser sees at the end.
  std::string browse() { return getPage(presenter->callback()); }

  Outcome signIn(std::string loginHint = {}) {
    std::promise<Outcome> promise;
    const auto service = start(promise, std::move(loginHint));
    lastPage = browse();
    return promise.get_future().get();
  }

  Result<Secret, NSError> token(AuthSession& session, std::optional<Secret> rejected = {}) {
    std::promise<std::optional<Result<Secret, NSError>>> promise;
    const auto waiting =
        session.accessToken(std::move(rejected), [&](auto result) { promise.set_value(result); });
    return *promise.get_future().get();
  }

  std::string lastPage;
};

TEST_F(EmulatedSignIn, AllowedItBringsASessionThatRefreshesAlsoAfterItWasStored) {
  const auto outcome = signIn();
  EXPECT_THAT(lastPage, StartsWith("HTTP/1.1 302 Found\r\nLocation: https://drive.google.com/\r\n"));
  ASSERT_TRUE(outcome.session) << outcome.error->localizedDescription();
  EXPECT_EQ(outcome.session->userEmail(), "ada@example.com");

  const auto first = token(*outcome.session);
  ASSERT_TRUE(first);
  EXPECT_EQ(google.journal().count("token"), 1u);
  const JSONSessionArchive archive(http, queues.userInitiated, systemInstant,
                                   GoogleEndpoints::at(google.baseURL()));
  const auto stored = archive.encode(*outcome.session);
  const auto decoded = archive.decode(stored);
  EXPECT_EQ(token(*decoded).value(), first.value());
  google.expireTokens();
  const auto second = token(*decoded, first.value());
  ASSERT_TRUE(second) << second.error().localizedDescription();
  EXPECT_NE(second.value(), first.value());
  EXPECT_EQ(google.journal().count("token"), 2u);
}

TEST_F(EmulatedSignIn, TheHintChoosesTheAccount) {
  EXPECT_EQ(signIn("bob@example.com").session->userEmail(), "bob@example.com");
}

TEST_F(EmulatedSignIn, DeniedItSaysSo) {
  google.setConsent(Consent::Deny);
  const auto outcome = signIn();
  EXPECT_THAT(lastPage, StartsWith("HTTP/1.1 403 "));
  EXPECT_EQ(outcome.error->domain(), "org.openid.appauth.oauth_authorization");
  EXPECT_EQ(outcome.error->code(), -4);
  EXPECT_EQ(google.journal().count("token"), 0u);
}

TEST_F(EmulatedSignIn, WithTheDriveBoxUntickedItSaysWhatIsMissing) {
  google.setConsent(Consent::Partial);
  const auto outcome = signIn();
  EXPECT_THAT(lastPage, StartsWith("HTTP/1.1 403 "));
  EXPECT_EQ(outcome.error->domain(), "TessoraService");
  EXPECT_EQ(outcome.error->code(), -2);
}

// The attacker has a code of his own account and the victim's whole callback URL, and is stopped all the same.
TEST_F(EmulatedSignIn, ACodeOfAnotherSignInIsStoppedByItsVerifier) {
  std::promise<Outcome> attackers;
  std::promise<Outcome> victims;
  const auto attack = start(attackers, "bob@example.com");
  const auto stolen = presenter->callback();
  const auto victim = start(victims);
  const auto real = presenter->callback();
  const auto codeOf = [](const std::string& url) {
    const auto begin = url.find("code=") + 5;
    return url.substr(begin, url.find('&', begin) - begin);
  };
  auto forged = real;
  forged.replace(forged.find(codeOf(real)), codeOf(real).size(), codeOf(stolen));
  EXPECT_THAT(getPage(forged), StartsWith("HTTP/1.1 502 "));
  const auto outcome = victims.get_future().get();
  EXPECT_FALSE(outcome.session);
  EXPECT_EQ(outcome.error->domain(), "org.openid.appauth.oauth_token");
}

TEST_F(EmulatedSignIn, TheTokenEndpointsFaultsEndItWithTheirErrorAndNoSuccessPage) {
  struct Row {
    Fault fault;
    const char* domain;
    std::int64_t code;
  };
  const std::vector<Row> rows{
      {Fault::empty(503), "NSURLErrorDomain", -1011},
      {Fault::html(502), "NSURLErrorDomain", -1011},
      {Fault::html(400), "org.openid.appauth.oauth_token", -61440},
      {Fault::content("<html>Welcome to the hotel</html>"), "NSURLErrorDomain", -1017},
      {Fault::content("", "application/json"), "NSURLErrorDomain", -1017},
      {Fault::redirect("https://evil.example/token"), "NSURLErrorDomain", -1011},
      {Fault::closeWithoutAnswer(), "NSURLErrorDomain", -1005},
      {Fault{.hugeBody = 64u << 20}, "NSURLErrorDomain", -1103},
  };
  for (const auto& row : rows) {
    google.faults().add("token", row.fault);
    const auto outcome = signIn();
    EXPECT_THAT(lastPage, StartsWith("HTTP/1.1 502 ")) << row.fault.description();
    ASSERT_TRUE(outcome.error) << row.fault.description();
    EXPECT_EQ(outcome.error->domain(), row.domain) << row.fault.description();
    EXPECT_EQ(outcome.error->code(), row.code) << row.fault.description();
    EXPECT_THAT(outcome.error->localizedDescription(), Not(HasSubstr("hotel")));
  }
}

TEST_F(EmulatedSignIn, CancelledDuringTheExchangeItEndsAtOnce) {
  std::promise<Outcome> promise;
  auto service = start(promise);
  google.faults().add("token", Fault::held(std::make_shared<emulator::Gate>()));
  const auto callback = presenter->callback();
  const auto [host, target] = splitURL(callback);
  const RawClient browser(host);
  browser.send(getRequest(host, target));
  ASSERT_TRUE(google.journal().waitForCount(2));
  service->cancel();
  EXPECT_EQ(browser.receiveAll(), "");
  EXPECT_FALSE(RawClient(host).isConnected());
  google.faults().releaseHeld();
}

TEST_F(EmulatedSignIn, AHundredRequestsMakeOneRefresh) {
  const auto outcome = signIn();
  const auto rejected = token(*outcome.session).value();
  std::vector<std::promise<bool>> promises(100);
  std::vector<AnyCancellable> waiting;
  for (auto& promise : promises)
    waiting.push_back(
        outcome.session->accessToken(rejected, [&](auto result) { promise.set_value(bool(result)); }));
  for (auto& promise : promises) EXPECT_TRUE(promise.get_future().get());
  EXPECT_EQ(google.journal().count("token"), 2u);
}

TEST_F(EmulatedSignIn, ARevokedGrantSaysToSignInAgain) {
  const auto outcome = signIn();
  const auto rejected = token(*outcome.session).value();
  google.revokeAll();
  const auto result = token(*outcome.session, rejected);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().domain(), "org.openid.appauth.oauth_token");
  EXPECT_EQ(result.error().code(), -10);
  EXPECT_THAT(result.error().localizedDescription(), HasSubstr("Sign in again"));
}

TEST_F(EmulatedSignIn, ARefreshThatFailsOnceWorksTheNextTime) {
  const auto outcome = signIn();
  const auto rejected = token(*outcome.session).value();
  google.faults().add("token", Fault::empty(500));
  EXPECT_EQ(token(*outcome.session, rejected).error().code(), -1011);
  EXPECT_TRUE(token(*outcome.session, rejected));
}

}  // namespace
}  // namespace corvane::test
