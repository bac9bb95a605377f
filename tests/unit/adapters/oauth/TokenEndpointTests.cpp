#include "Documents.hpp"
#include "ScriptedHTTPClient.hpp"
#include "ThreadlessQueue.hpp"
#include "URLErrors.hpp"
#include "UnableHTTPClient.hpp"
#include "oauth/FormEncoding.hpp"
#include "oauth/OAuthErrors.hpp"
#include "oauth/TokenEndpoint.hpp"
#include "support/ManualQueue.hpp"

#include <gmock/gmock.h>

namespace corvane::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct TokenEndpointTest : ::testing::Test {
  std::shared_ptr<ScriptedHTTPClient> http = std::make_shared<ScriptedHTTPClient>();
  std::shared_ptr<ManualQueue> pool = std::make_shared<ManualQueue>();
  TokenEndpoint endpoint{http, pool, "https://oauth2.example/token"};
  std::optional<Result<TokenResponse, NSError>> result;
  std::shared_ptr<Cancellable> request;

  std::string form = "code=secret-code";
  std::shared_ptr<ScriptedHTTPClient::Exchange> send() {
    request =
        endpoint.send(dataFromText(form), [this](auto answer) { result = std::move(answer); });
    return http->next();
  }
  NSError errorFor(int status, std::string_view body) {
    send()->answer(status, body);
    return result->error();
  }
};

TEST_F(TokenEndpointTest, PostsTheFormAndGivesTheTokens) {
  const auto exchange = send();
  EXPECT_EQ(exchange->request.method, "POST");
  EXPECT_EQ(exchange->request.url, "https://oauth2.example/token");
  EXPECT_EQ(exchange->form(), "code=secret-code");
  EXPECT_TRUE(exchange->request.bearer.empty());
  EXPECT_THAT(exchange->request.headers, ::testing::Contains(std::pair<std::string, std::string>(
                                             "Content-Type", "application/x-www-form-urlencoded")));
  exchange->answer(200, goodTokens("x").dump());
  ASSERT_TRUE(result && *result);
  EXPECT_EQ(result->value().accessToken, Secret("access-token-of-the-exchange"));
}

TEST_F(TokenEndpointTest, AnInvalidGrantSaysToSignInAgain) {
  const auto error =
      errorFor(400, R"({"error":"invalid_grant","error_description":"Token has been expired or revoked."})");
  EXPECT_EQ(error.domain(), "org.openid.appauth.oauth_token");
  EXPECT_EQ(error.code(), -10);
  EXPECT_THAT(error.localizedDescription(), HasSubstr("Sign in again"));
  const auto& response = *error.userInfo().at("OIDOAuthErrorResponseErrorKey").dictionary();
  EXPECT_EQ(*response.at("error").text(), "invalid_grant");
  EXPECT_EQ(*response.at("error_description").text(), "Token has been expired or revoked.");
}

TEST_F(TokenEndpointTest, OtherRefusalsKeepTheirNameAndHaveTheirCode) {
  const std::initializer_list<std::tuple<int, const char*, std::int64_t>> rows{
      {400, "invalid_request", -2}, {400, "unauthorized_client", -3}, {403, "access_denied", -4},
      {400, "invalid_scope", -6},   {401, "invalid_client", -9},      {400, "unsupported_grant_type", -11},
      {400, "slow_down", -61440}};
  for (const auto& [status, name, code] : rows) {
    const auto error = errorFor(status, JSONDocument{{"error", name}}.dump());
    EXPECT_EQ(error.domain(), "org.openid.appauth.oauth_token");
    EXPECT_EQ(error.code(), code) << name;
    EXPECT_THAT(error.localizedDescription(), HasSubstr(name));
  }
}

NSError refreshError(TokenEndpointTest& test, std::string_view error) {
  test.form = "grant_type=refresh_token&refresh_token=r&client_id=c";
  return test.errorFor(400, JSONDocument{{"error", error}, {"error_description", "words"}}.dump());
}

TEST_F(TokenEndpointTest, AClientRefusedAtARefreshSaysToSignInAgain) {
  for (const auto* name : {"invalid_client", "unauthorized_client", "deleted_client"}) {
    const auto error = refreshError(*this, name);
    EXPECT_EQ(error.domain(), "org.openid.appauth.oauth_token");
    EXPECT_THAT(error.localizedDescription(),
                HasSubstr(std::string("(") + name + "). Sign in again"));
    EXPECT_THAT(error.localizedDescription(), Not(HasSubstr("Check the client ID")));
    EXPECT_EQ(
        *error.userInfo().at("OIDOAuthErrorResponseErrorKey").dictionary()->at("error").text(),
        name);
  }
}

TEST_F(TokenEndpointTest, AClientRefusedAtASignInSaysToCheckTheClient) {
  for (const auto* name : {"invalid_client", "unauthorized_client", "deleted_client"}) {
    const auto text = errorFor(401, JSONDocument{{"error", name}}.dump()).localizedDescription();
    EXPECT_THAT(text, HasSubstr("Check the client ID and secret"));
    EXPECT_THAT(text, Not(HasSubstr("Sign in again")));
  }
}

TEST_F(TokenEndpointTest, ARefusalThatSaysTheServerIsBusyMayPass) {
  for (const auto* name : {"temporarily_unavailable", "server_error"}) {
    const auto error = refreshError(*this, name);
    EXPECT_EQ(error.domain(), "NSURLErrorDomain") << name;
    EXPECT_EQ(error.code(), urlError::badServerResponse) << name;
    EXPECT_THAT(error.localizedDescription(), HasSubstr("Try again later"));
  }
}

TEST_F(TokenEndpointTest, RefusalsOfAnyOtherShapeAreToldWithoutTheirBody) {
  for (const auto* body :
       {"<html>markup</html>", "", "[]", "{}", R"({"error":{"message":"markup"}})", "null"}) {
    const auto error = errorFor(400, body);
    EXPECT_EQ(error.domain(), "org.openid.appauth.oauth_token");
    EXPECT_EQ(error.code(), -61440);
    EXPECT_THAT(error.localizedDescription(), HasSubstr("HTTP 400"));
    EXPECT_THAT(error.localizedDescription(), Not(HasSubstr("markup")));
    EXPECT_EQ(error.userInfo().count("OIDOAuthErrorResponseErrorKey"), 0u);
  }
}

TEST_F(TokenEndpointTest, HostileErrorTextsBecomeOneShortLine) {
  const auto error = errorFor(
      400, JSONDocument{{"error", "a\nb"}, {"error_description", "x\x1b[31m\u202e" + std::string(1000, 'y')}}
               .dump());
  EXPECT_THAT(error.localizedDescription(), ::testing::MatchesRegex("[ -~]*"));
  EXPECT_LT(error.localizedDescription().size(), 400u);
  EXPECT_EQ(*error.userInfo().at("OIDOAuthErrorResponseErrorKey").dictionary()->at("error").text(), "a?b");
}

TEST_F(TokenEndpointTest, SecretsThatTheServerRepeatsAreStruckOut) {
  for (const auto* error : {"invalid_grant", "invalid_request", "bad secret-code"}) {
    const auto told = errorFor(
        400,
        JSONDocument{{"error", error}, {"error_description", "Malformed secret-code, secret-code"}}.dump());
    for (const auto& [key, value] : told.userInfo())
      EXPECT_THAT(value.description(), Not(HasSubstr("secret-code"))) << key;
    const auto& response = *told.userInfo().at("OIDOAuthErrorResponseErrorKey").dictionary();
    EXPECT_EQ(*response.at("error_description").text(), "Malformed ..., ...");
  }
}

TEST_F(TokenEndpointTest, PartsOfSecretsThatTheServerRepeatsAreStruckOut) {
  const std::string secret = "1//0abcdefghijklmnopqrstuvwxyz-ABCDEFGH";
  for (const auto* name : {"code", "code_verifier", "refresh_token", "client_secret"}) {
    FormBody body;
    body.add(name, secret);
    form = textView(body.take());
    for (const auto& part :
         {secret.substr(0, 16), secret.substr(4), secret.substr(1, secret.size() - 2)}) {
      const auto told = errorFor(
          400, JSONDocument{{"error", "invalid_request"},
                            {"error_description", "Malformed: " + part + ", " + part + "!"}}
                   .dump());
      EXPECT_THAT(told.localizedDescription(), HasSubstr("(Malformed: ..., ...!)")) << name;
      const auto& response = *told.userInfo().at("OIDOAuthErrorResponseErrorKey").dictionary();
      EXPECT_EQ(*response.at("error_description").text(), "Malformed: ..., ...!") << name;
    }
  }
}

TEST_F(TokenEndpointTest, ServerFailuresAndRedirectsAreBadServerResponses) {
  for (const int status : {500, 502, 503, 504, 301, 302, 307, 304}) {
    const auto error = errorFor(status, R"({"error":"invalid_grant"})");
    EXPECT_EQ(error.domain(), "NSURLErrorDomain");
    EXPECT_EQ(error.code(), -1011) << status;
    EXPECT_THAT(error.localizedDescription(), HasSubstr(std::to_string(status)));
    EXPECT_THAT(error.localizedDescription(), HasSubstr("oauth2.example"));
  }
}

// Or else a rate limit would tell the user to sign in again, and a listing would not wait it out.
TEST_F(TokenEndpointTest, ABusyServersAnswerIsNoRefusalWhateverItSays) {
  for (const int status : {408, 429})
    for (const auto* body :
         {R"({"error":"invalid_grant"})", R"({"error":"rate_limit_exceeded"})", "<html>", ""}) {
      const auto error = errorFor(status, body);
      EXPECT_EQ(error.domain(), "NSURLErrorDomain");
      EXPECT_EQ(error.code(), -1011);
      EXPECT_THAT(error.localizedDescription(), HasSubstr("HTTP " + std::to_string(status)));
    }
}

TEST_F(TokenEndpointTest, SuccessWithoutTokensCannotBeParsed) {
  for (const auto* body : {"<html>Log in to the network</html>", "", "{}", "[]", R"({"access_token":"t"})"}) {
    const auto error = errorFor(200, body);
    EXPECT_EQ(error.domain(), "NSURLErrorDomain");
    EXPECT_EQ(error.code(), -1017) << body;
    EXPECT_THAT(error.localizedDescription(), Not(HasSubstr("Log in")));
  }
}

TEST_F(TokenEndpointTest, TransportErrorsPassThrough) {
  send()->fail(NSError(NSURLErrorDomain, -1009));
  EXPECT_EQ(result->error().code(), -1009);
}

TEST_F(TokenEndpointTest, ARequestThatTheClientDropsFailsAsCancelledOnThePool) {
  send()->drop();
  EXPECT_FALSE(result);
  pool->runAll();
  EXPECT_EQ(result->error().domain(), "NSURLErrorDomain");
  EXPECT_EQ(result->error().code(), -999);
}

TEST_F(TokenEndpointTest, ACancelledRequestIsSilent) {
  const auto exchange = send();
  request->cancel();
  pool->runAll();
  EXPECT_TRUE(exchange->isCancelled());
  EXPECT_FALSE(result);
}

TEST_F(TokenEndpointTest, ADroppedRequestIsToldAlsoWhenThePoolHasNoThread) {
  endpoint = TokenEndpoint(http, std::make_shared<ThreadlessQueue>(), "https://oauth2.example/token");
  send()->drop();
  ASSERT_TRUE(result);
  EXPECT_EQ(result->error().code(), -999);
}

TEST_F(TokenEndpointTest, ARequestThatCannotBeSentIsOneErrorAndNoException) {
  int answers = 0;
  const auto count = [&](Result<TokenResponse, NSError> answer) {
    ++answers;
    result = std::move(answer);
  };
  const auto unable = std::make_shared<UnableHTTPClient>();
  const auto onPool = TokenEndpoint(unable, pool, "https://oauth2.example/token").send({}, count);
  EXPECT_EQ(answers, 0);
  pool->runAll();
  EXPECT_EQ(answers, 1);
  const auto here = TokenEndpoint(unable, std::make_shared<ThreadlessQueue>(), "https://oauth2.example/token")
                        .send({}, count);
  EXPECT_EQ(answers, 2);
  EXPECT_EQ(result->error().code(), -1004);
  EXPECT_THAT(result->error().localizedDescription(), HasSubstr("oauth2.example"));
}

}  // namespace
}  // namespace corvane::test
