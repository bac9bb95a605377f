#include "SignInFaultFixture.hpp"

#include "unit/adapters/oauth/Documents.hpp"

#include <sys/stat.h>

#include <cstdint>

namespace corvane::test {
namespace {

using emulator::Fault;
using emulator::Gate;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using Case = GoogleDriveAuthorizationProviderError::Case;

/// A token endpoint that answers badly, and what the user is told.
struct BadExchange {
  std::string name;
  /// How it answers; nothing for tokens with these changes (RFC 7396) to the id_token's claims and to themselves.
  std::optional<Fault> fault = {};
  std::string claims = "{}";
  std::string tokens = "{}";
  Case told = Case::signInFailed;
  std::string domain = {};  // of what `signInFailed` carries
  std::int64_t code = 0;
};

Fault answered(int status, std::string body) {
  return Fault{.status = status, .body = std::move(body)};
}

BadExchange badAnswer(std::string name, Fault fault, std::string domain, std::int64_t code) {
  return {std::move(name), std::move(fault), "{}", "{}", Case::signInFailed, std::move(domain), code};
}

BadExchange badTokens(std::string name, std::string claims, std::string tokens, std::string domain,
                      std::int64_t code) {
  return {std::move(name),   {},  std::move(claims), std::move(tokens), Case::signInFailed,
          std::move(domain), code};
}

class BadExchangeTest : public SignInFaultFixture, public ::testing::WithParamInterface<BadExchange> {
 protected:
  static inline const std::vector<std::string> tokensGiven{"access-token-of-the-exchange",
                                                           "refresh-token-of-the-exchange"};

  Fault answer() const {
    if (GetParam().fault) return *GetParam().fault;
    auto claims = goodClaims(parameterOf(page->lastURL(), "nonce"),
                             std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
    claims["aud"] = claims["azp"] = "corvane-demo-client";
    claims.merge_patch(JSONDocument::parse(GetParam().claims));
    auto tokens = goodTokens(idToken(claims));
    tokens.merge_patch(JSONDocument::parse(GetParam().tokens));
    return Fault::content(tokens.dump(), "application/json");
  }
};

TEST_P(BadExchangeTest, EndsTheSignInInOneErrorAndKeepsAndTellsNothing) {
  const auto provider = hostOn(makeLinuxPlatform(options())).makeAuthorizationProvider(tracker);
  auto running = toFuture(provider->signIn());
  google.faults().add("token", answer());
  callback = page->callback();
  lastPage = getPage(callback);
  const auto result = running.get();
  google.faults().releaseHeld();

  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().kind(), GetParam().told);
  const bool isOther = GetParam().told == Case::signInFailed;
  if (isOther) {
    EXPECT_EQ(result.error().underlying()->domain(), GetParam().domain);
    EXPECT_EQ(result.error().underlying()->code(), GetParam().code);
  }
  EXPECT_THAT(lastPage, AnyOf(StartsWith("HTTP/1.1 502 "), StartsWith("HTTP/1.1 403 ")));
  EXPECT_THAT(keychain->calls(), IsEmpty());
  EXPECT_THAT(tracker->events(), ElementsAre("started", "failed"));
  EXPECT_EQ(errorsInTheLog().size(), isOther ? 1u : 0u);
  expectNoSecretInTheLog(tokensGiven);
  expectNoSecretIn(result.error().errorDescription().value_or(""), tokensGiven);
  expectNoSecretIn(lastPage, tokensGiven);
}

constexpr auto service = "TessoraService";
constexpr auto general = "org.openid.appauth.general";
constexpr auto refused = "org.openid.appauth.oauth_token";
constexpr auto network = "NSURLErrorDomain";
constexpr std::chrono::milliseconds moment{100};

INSTANTIATE_TEST_SUITE_P(
    SignIn, BadExchangeTest,
    ::testing::Values(
        badTokens("OfAnotherIssuer", R"({"iss":"https://evil.example"})", "{}", general, -15),
        badTokens("ForAnotherProgram", R"({"aud":"another","azp":"another"})", "{}", general, -15),
        badTokens("OfAnotherNonce", R"({"nonce":"another"})", "{}", general, -15),
        badTokens("ThatHasExpired", R"({"exp":1000000000})", "{}", general, -15),
        badTokens("WithoutAnIDToken", "{}", R"({"id_token":null})", general, -14),
        badTokens("WithoutARefreshToken", "{}", R"({"refresh_token":null})", service, -100),
        badTokens("OfAnotherTokenType", "{}", R"({"token_type":"mac"})", network, -1017),
        BadExchange{
            "WithoutTheDriveScope", {}, "{}", R"({"scope":"openid email"})", Case::missingRequiredScopes},
        BadExchange{"WithoutAnAddress", {}, R"({"email":null})", "{}", Case::signInFailedUnknown},
        badAnswer("RefusedWith400", answered(400, R"({"error":"invalid_grant"})"), refused, -10),
        badAnswer("RefusedWith401", answered(401, R"({"error":"invalid_client"})"), refused, -9),
        badAnswer("RefusedInHTML", Fault::html(400), refused, -61440),
        badAnswer("RateLimited", answered(429, R"({"error":"rate_limit_exceeded"})"), network, -1011),
        badAnswer("FailedWith500", answered(500, R"({"error":"internal_failure"})"), network, -1011),
        badAnswer("FailedWith503", Fault::empty(503), network, -1011),
        badAnswer("FailedInHTML", Fault::html(502), network, -1011),
        badAnswer("ByACaptivePortal", Fault::content("<html>Welcome to the hotel</html>"), network, -1017),
        badAnswer("ThatIsEmpty", Fault::content("", "application/json"), network, -1017),
        badAnswer("ThatIsCutShort", Fault::closeAfterBodyBytes(40), network, -1005),
        badAnswer("ThatIsReset", Fault::resetAfterBytes(20), network, -1005),
        badAnswer("ThatLeadsElsewhere", Fault::redirect("https://evil.example/token"), network, -1011),
        badAnswer("ThatIsHuge", Fault{.hugeBody = 64u << 20}, network, -1103),
        badAnswer("ThatIsTooLongForAToken",
                  Fault::content(R"({"access_token":")" + std::string(60'000, 'x') + "\",",
                                 "application/json"),
                  network, -1017),
        badAnswer("ThatNeverComes", Fault::held(std::make_shared<Gate>()), network, -1001),
        badAnswer("ThatComesTooSlowly", Fault::slow(2, moment), network, -1001)),
    [](const auto& row) { return row.param.name; });

using SignInFaultTest = SignInFaultFixture;

TEST_F(SignInFaultTest, AFailedSaveIsToldOnceAndLoggedOnceWithoutSecrets) {
  const auto provider = hostOn(makeLinuxPlatform(options())).makeAuthorizationProvider(tracker);
  keychain->failNext(FakeKeychain::Operation::add, errSecIO);
  const auto result = signInWith(*provider);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().kind(), Case::tokenSaveFailed);
  EXPECT_THAT(tracker->events(), ElementsAre("started", "failed"));
  EXPECT_THAT(errorsInTheLog(), ElementsAre("Google Drive token save failed [NSOSStatusErrorDomain " +
                                            std::to_string(errSecIO) + "]: Keychain add failed"));
  EXPECT_THAT(keychain->items(), IsEmpty());

  const auto added = keychain->calls().back().query.at(std::string(kSecValueData));
  const auto session = JSONDocument::parse(textView(*added.data()));
  const std::vector<std::string> tokens{session.at("accessToken"), session.at("refreshToken")};
  expectNoSecretInTheLog(tokens);
  expectNoSecretIn(result.error().errorDescription().value_or(""), tokens);
}

// A save is a removal and an addition, so it matters which of them fails.
TEST_F(SignInFaultTest, AFailedSaveKeepsTheOlderSessionUnlessItWasRemovedAlready) {
  const auto provider = hostOn(makeLinuxPlatform(options())).makeAuthorizationProvider(nullptr);
  ASSERT_TRUE(signInWith(*provider));
  const auto older = keychain->items();
  keychain->failNext(FakeKeychain::Operation::remove, errSecInteractionNotAllowed);
  EXPECT_EQ(signInWith(*provider).error().kind(), Case::tokenSaveFailed);
  EXPECT_EQ(keychain->items(), older);
  keychain->failNext(FakeKeychain::Operation::add, errSecIO);
  EXPECT_EQ(signInWith(*provider).error().kind(), Case::tokenSaveFailed);
  EXPECT_THAT(keychain->items(), IsEmpty());
}

TEST_F(SignInFaultTest, AKeychainFolderThatIsOpenToOthersFailsTheSaveAndTheLogSaysWhatToDo) {
  auto linux = options();
  linux.keychain = nullptr;
  linux.keychainBackend = KeychainBackend::encryptedFile;
  linux.keychainFolder = folder.path() / "open";
  ASSERT_EQ(::mkdir(linux.keychainFolder.c_str(), 0700), 0);
  ASSERT_EQ(::chmod(linux.keychainFolder.c_str(), 0755), 0);
  const auto provider = hostOn(makeLinuxPlatform(linux)).makeAuthorizationProvider(nullptr);
  EXPECT_EQ(signInWith(*provider).error().kind(), Case::tokenSaveFailed);
  EXPECT_THAT(errorsInTheLog(), ElementsAre(HasSubstr("Run: chmod 700"), HasSubstr("token save failed")));
  EXPECT_TRUE(std::filesystem::is_empty(linux.keychainFolder));
  expectNoSecretInTheLog();
}

TEST_F(SignInFaultTest, TheSignInGoesOnAndSavesWhenProviderAndFactoryGoMidway) {
  const auto gate = std::make_shared<Gate>();
  google.faults().add("token", Fault::held(gate));
  auto provider = hostOn(makeLinuxPlatform(options())).makeAuthorizationProvider(tracker);
  auto running = toFuture(provider->signIn());
  const auto [host, target] = splitURL(page->callback());
  const RawClient tab(host);
  tab.send(getRequest(host, target));
  ASSERT_TRUE(gate->waitUntilReached());
  provider.reset();
  gate->open();
  const auto result = running.get();
  ASSERT_TRUE(result);
  EXPECT_EQ(result.value().userEmail(), "ada@example.com");
  EXPECT_EQ(keychain->items().size(), 1u);
  EXPECT_THAT(tab.receiveAll(), StartsWith("HTTP/1.1 302 "));
  EXPECT_THAT(tracker->events(), ElementsAre("started"));
  EXPECT_THAT(errorsInTheLog(), IsEmpty());
}

TEST_F(SignInFaultTest, TwoSignInsAtOnceEachGetTheirOwnAccount) {
  const auto adas = hostOn(makeLinuxPlatform(options("ada@example.com"))).makeAuthorizationProvider(nullptr);
  const auto graces =
      hostOn(makeLinuxPlatform(options("grace@example.com"))).makeAuthorizationProvider(nullptr);
  auto ada = toFuture(adas->signIn());
  const auto adasCallback = page->callback();
  auto grace = toFuture(graces->signIn());
  const auto gracesCallback = page->callback();
  // Each one's answer at the other's port.
  const auto [adasHost, adasTarget] = splitURL(adasCallback);
  const auto [gracesHost, gracesTarget] = splitURL(gracesCallback);
  EXPECT_THAT(roundTrip(gracesHost, getRequest(gracesHost, adasTarget)), StartsWith("HTTP/1.1 404 "));
  EXPECT_THAT(roundTrip(adasHost, getRequest(adasHost, gracesTarget)), StartsWith("HTTP/1.1 404 "));
  getPage(gracesCallback);
  getPage(adasCallback);
  EXPECT_EQ(grace.get().value().userEmail(), "grace@example.com");
  EXPECT_EQ(ada.get().value().userEmail(), "ada@example.com");
  EXPECT_EQ(keychain->items().size(), 2u);
}

}  // namespace
}  // namespace corvane::test
