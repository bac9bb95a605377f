#include "SignInFixture.hpp"

#include <gmock/gmock.h>

#include <string>
#include <tuple>

// How a sign-in ends that Google, the user's choice or the clock does not let succeed.

namespace corvane::test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

struct Refused {
  NSError error;
  std::string page;
};

Refused refused(const std::string& query) {
  SignIn signIn;
  signIn.start();
  const auto page = roundTrip(signIn.host(), signIn.callback(query + "&state=" + signIn.parameter("state")));
  return {*signIn.outcome().error, page};
}

TEST(SignInRefusals, EachIsATrueSentenceInBrowserAndProgram) {
  const std::initializer_list<std::tuple<const char*, const char*, int>> rows{
      {"server_error", "an error of Google's own", 503},
      {"temporarily_unavailable", "too busy or under maintenance", 503},
      {"login_required", "wants you to sign in to the account", 403},
      {"interaction_required", "has a question that was not answered", 403},
      {"account_selection_required", "wants you to choose an account", 403},
      {"consent_required", "wants your consent", 403},
      {"invalid_scope", "does not let this program ask for access to Google Drive", 403},
      {"unauthorized_client", "of the type Desktop app", 403},
      {"invalid_client", "does not know this program's OAuth client", 403},
      {"deleted_client", "was deleted at Google", 403},
      {"redirect_uri_mismatch", "of the type Desktop app", 403},
      {"invalid_request", "could not understand", 403},
      {"unsupported_response_type", "does not support", 403},
      {"admin_policy_enforced", "Ask the administrator", 403},
      {"org_internal", "only for accounts of its developer's organisation", 403},
      {"disallowed_useragent", "does not accept the browser", 403},
      {"access_denied", "was not granted", 403},
      {"never_heard_of", "handed back an error", 403}};
  for (const auto& [name, words, status] : rows) {
    const auto result = refused("error=" + std::string(name));
    EXPECT_EQ(result.error.domain(), oauthAuthorizationErrorDomain) << name;
    EXPECT_THAT(result.error.localizedDescription(), HasSubstr(words));
    EXPECT_THAT(result.error.localizedDescription(),
                EndsWith(result.error.localizedRecoverySuggestion().value_or("no advice")));
    EXPECT_THAT(result.page, AllOf(HasSubstr(words), HasSubstr("so you are not signed in")));
    EXPECT_THAT(result.page, StartsWith("HTTP/1.1 " + std::to_string(status)));
  }
}

TEST(SignInRefusals, AnUnknownErrorIsNamedInTheProgramOnly) {
  const auto result = refused("error=never_heard_of");
  EXPECT_THAT(result.error.localizedDescription(), HasSubstr("(never_heard_of)"));
  EXPECT_THAT(result.page, Not(HasSubstr("never_heard_of")));
}

TEST(SignInRefusals, GooglesOwnWordsAreShownInTheProgramOnly) {
  const auto result = refused("error=server_error&error_description=The+backend+is+down");
  EXPECT_THAT(result.error.localizedDescription(), HasSubstr("Google says: \"The backend is down\""));
  EXPECT_THAT(result.page, Not(HasSubstr("backend")));
}

TEST(SignInRefusals, GooglesWordsAreOneBoundedLineWithoutMarkup) {
  const auto result = refused(
      "error=server_error&error_description=%3Cb%3Ebold%3C%2Fb%3E%0D%0Anext%1B[31m+%26amp%3B+%22quoted%22+" +
      std::string(5'000, 'x'));
  const auto text = result.error.localizedDescription();
  EXPECT_EQ(text.find_first_of("<>&\r\n\x1B"), std::string::npos) << text;
  EXPECT_THAT(text, HasSubstr("?b?bold?/b???next?[31m ?amp; ?quoted?"));
  EXPECT_LT(text.size(), 500u);
}

TEST(SignInRefusals, SecretsOfTheSignInAreStruckFromGooglesWords) {
  SignIn signIn;
  signIn.start();
  const auto state = signIn.parameter("state");
  const auto nonce = signIn.parameter("nonce");
  roundTrip(signIn.host(), signIn.callback("error=oops" + state + "&error_description=saw+" + state +
                                           "+and+" + nonce + state + "&state=" + state));
  const auto error = *signIn.outcome().error;
  const auto text = error.localizedDescription();
  const auto& response = *error.userInfo().at(std::string(oauthErrorResponseKey)).dictionary();
  for (const auto& each : {text, *response.at("error").text(), *response.at("error_description").text()})
    EXPECT_THAT(each, AllOf(Not(HasSubstr(state)), Not(HasSubstr(nonce)))) << each;
  EXPECT_THAT(text, HasSubstr("saw ... and ......"));
}

struct OnlyThisAccount : ::testing::Test {
  SignIn signIn;
  std::string page;

  SignIn::Outcome choose(const std::string& wanted, const std::string& chosen) {
    signIn.loginHint = wanted;
    signIn.start();
    auto claims = goodClaims(signIn.parameter("nonce"), signIn.clock.wall());
    claims["email"] = chosen;
    page = signIn.comeBack(200, goodTokens(idToken(claims)).dump());
    return signIn.outcome();
  }
};

TEST_F(OnlyThisAccount, AnotherOneFailsWithBothAddressesAndNoSession) {
  signIn.onlyThisAccount = true;
  const auto outcome = choose("ada@example.com", "bob@example.com");
  EXPECT_FALSE(outcome.session);
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->domain(), signInServiceErrorDomain);
  EXPECT_EQ(outcome.error->code(), signInOtherAccountCode);
  EXPECT_THAT(outcome.error->localizedDescription(),
              HasSubstr("The sign-in was for ada@example.com, but bob@example.com was chosen"));
  EXPECT_EQ(*outcome.error->userInfo().at(std::string(signInExpectedAccountKey)).text(), "ada@example.com");
  EXPECT_EQ(*outcome.error->userInfo().at(std::string(signInChosenAccountKey)).text(), "bob@example.com");
  EXPECT_THAT(
      page, AllOf(StartsWith("HTTP/1.1 403 "), HasSubstr("another account"), Not(HasSubstr("example.com"))));
}

TEST_F(OnlyThisAccount, ItsAddressMayBeTypedInAnotherCase) {
  signIn.onlyThisAccount = true;
  EXPECT_TRUE(choose("Ada@Example.COM", "ada@example.com").session);
}

TEST_F(OnlyThisAccount, AnAddressThatOnlyBeginsAlikeIsAnother) {
  signIn.onlyThisAccount = true;
  EXPECT_FALSE(choose("ada@example.com", "ada@example.com.evil.example").session);
}

TEST_F(OnlyThisAccount, AHintAloneLeavesTheChoiceToTheUser) {
  EXPECT_TRUE(choose("ada@example.com", "bob@example.com").session);
}

TEST(SignInTimeout, EndsTheWaitAndSaysWhatToLookForOnThePage) {
  SignIn signIn;
  signIn.timeout = std::chrono::milliseconds{1};
  signIn.start();
  const auto outcome = signIn.outcome();
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->domain(), signInServiceErrorDomain);
  EXPECT_EQ(outcome.error->code(), signInTimedOutCode);
  EXPECT_THAT(outcome.error->localizedDescription(),
              AllOf(HasSubstr("within 1 second."), HasSubstr("Access blocked"), HasSubstr("not verified"),
                    HasSubstr("test users")));
  EXPECT_FALSE(RawClient(signIn.host()).isConnected());
}

TEST(SignInTimeout, LeavesAnExchangeUnderWayAlone) {
  SignIn signIn;
  signIn.timeout = std::chrono::milliseconds{200};
  signIn.start();
  const RawClient browser(signIn.host());
  browser.send(signIn.goodCallback());
  const auto exchange = signIn.http->next();
  // The time is over once the listener has let another sign-in's go.
  SignIn other;
  other.timeout = std::chrono::milliseconds{250};
  other.start();
  EXPECT_EQ(other.outcome().error->code(), signInTimedOutCode);
  exchange->answer(200, signIn.tokens().dump());
  EXPECT_TRUE(signIn.outcome().session);
}

TEST(SignInDomains, TheServicesOwnErrorsAreInItsDomain) {
  SignIn withoutPort;
  withoutPort.limits.addresses = {"192.0.2.1"};
  withoutPort.start();
  EXPECT_EQ(withoutPort.outcome().error->domain(), signInServiceErrorDomain);

  SignIn foreign;
  foreign.start();
  roundTrip(foreign.host(),
            foreign.callback("code=x&iss=https%3A%2F%2Fevil.example&state=" + foreign.parameter("state")));
  EXPECT_EQ(foreign.outcome().error->domain(), signInServiceErrorDomain);

  SignIn withoutRefreshToken;
  withoutRefreshToken.start();
  auto tokens = withoutRefreshToken.tokens();
  tokens.erase("refresh_token");
  withoutRefreshToken.comeBack(200, tokens.dump());
  EXPECT_EQ(withoutRefreshToken.outcome().error->domain(), signInServiceErrorDomain);
}

}  // namespace
}  // namespace corvane::test
