#include "DriveServiceFixture.hpp"

#include <URLErrors.hpp>

namespace corvane::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view unauthorized =
    R"({"error":{"code":401,"message":"Invalid Credentials","errors":[{"domain":"global","reason":"authError"}]}})";

/// A session that breaks its promise to call the handler once.
class TwofoldSession final : public AuthSession {
 public:
  std::optional<std::string> userEmail() const override { return "ada@example.com"; }
  AnyCancellable accessToken(std::optional<Secret>, TokenHandler handler) override {
    for (int i = 0; i < 2; ++i) handler(Result<Secret, NSError>::success(Secret("token-1")));
    return {};
  }
};

class DriveRequest : public DriveServiceTest {
 protected:
  static std::string bearer(const HTTPRequest& request) { return std::string(request.bearer.reveal()); }
};

TEST_F(DriveRequest, IsSignedWithTheSessionsToken) {
  const auto delivery = execute(aboutQuery());
  EXPECT_EQ(bearer(client->request(0)), "token-1");
  EXPECT_THAT(session->rejected(), IsEmpty());
}

TEST_F(DriveRequest, WithoutAnAuthorizerFailsUnsentAndNotInsideExecuteQuery) {
  service->setAuthorizer(nullptr);
  const auto delivery = execute(aboutQuery());
  EXPECT_EQ(delivery->calls, 0);
  queue->runAll();
  EXPECT_THAT(delivery, BroughtError(NSURLErrorDomain, -1013));
  EXPECT_EQ(client->sent(), 0u);
}

TEST_F(DriveRequest, TheAuthorizerCanBeAskedBack) {
  EXPECT_EQ(service->authorizer(), session);
  service->setAuthorizer(nullptr);
  EXPECT_EQ(service->authorizer(), nullptr);
}

TEST_F(DriveRequest, ATokenThatCannotBeHadFailsItUnchangedUnsentAndNotInsideExecuteQuery) {
  session->fail(NSError("org.openid.appauth.oauth_token", -10,
                        {{std::string(NSLocalizedDescriptionKey), "Sign in again."}}));
  const auto delivery = execute(deleteQuery());
  EXPECT_EQ(delivery->calls, 0);
  queue->runAll();
  EXPECT_THAT(delivery, BroughtError("org.openid.appauth.oauth_token", -10));
  EXPECT_EQ(delivery->description(), "Sign in again.");
  EXPECT_EQ(client->sent(), 0u);
}

TEST_F(DriveRequest, WaitsForATokenThatIsBeingRefreshed) {
  session->hold();
  const auto delivery = execute(aboutQuery());
  EXPECT_EQ(client->sent(), 0u);
  session->letGo();
  ASSERT_EQ(client->sent(), 1u);
  client->answer(0, 200, "{}");
  EXPECT_EQ(delivery->calls, 1);
}

TEST_F(DriveRequest, ASessionThatAnswersTwiceHasItSentOnce) {
  service->setAuthorizer(std::make_shared<TwofoldSession>());
  const auto delivery = execute(deleteQuery());
  EXPECT_EQ(client->sent(), 1u);
  client->answer(0, 204);
  queue->runAll();
  EXPECT_EQ(delivery->calls, 1);
  EXPECT_FALSE(delivery->error);
}

TEST_F(DriveRequest, ASessionThatDropsItsHandlerEndsItUnsent) {
  session->hold();
  const auto delivery = execute(deleteQuery());
  session->drop();
  EXPECT_EQ(delivery->calls, 0);
  queue->runAll();
  EXPECT_THAT(delivery, BroughtError(NSURLErrorDomain, NSURLErrorCancelled));
  EXPECT_NE(delivery->description().find("session"), std::string::npos) << delivery->description();
  EXPECT_EQ(client->sent(), 0u);
}

TEST_F(DriveRequest, ASessionThatDropsItsHandlerAtOnceEndsItAfterExecuteQuery) {
  session->dropAtOnce();
  const auto delivery = execute(aboutQuery());
  EXPECT_EQ(delivery->calls, 0);
  queue->runAll();
  EXPECT_THAT(delivery, BroughtError(NSURLErrorDomain, NSURLErrorCancelled));
}

TEST_F(DriveRequest, ASessionThatDropsTheHandlerOfTheSecondTokenEndsIt) {
  const auto delivery = execute(aboutQuery());
  session->hold();
  client->answer(0, 401, unauthorized);
  session->drop();
  queue->runAll();
  EXPECT_THAT(delivery, BroughtError(NSURLErrorDomain, NSURLErrorCancelled));
  EXPECT_EQ(client->sent(), 1u);
}

TEST_F(DriveRequest, ASessionThatDropsItsHandlerAfterACancelChangesNothing) {
  session->hold();
  const auto delivery = execute(aboutQuery());
  ticket->cancelTicket();
  session->drop();
  queue->runAll();
  EXPECT_EQ(delivery->calls, 0);
  EXPECT_TRUE(delivery->released);
}

TEST_F(DriveRequest, AClientWithoutAThreadFailsItAfterExecuteQuery) {
  client->becomeUnable();
  const auto delivery = execute(deleteQuery());
  EXPECT_EQ(delivery->calls, 0);
  queue->runAll();
  EXPECT_THAT(delivery, BroughtError(NSURLErrorDomain, urlError::cannotConnectToHost));
}

TEST_F(DriveRequest, AClientWithoutAThreadOnceATokenArrivesFailsIt) {
  session->hold();
  const auto delivery = execute(aboutQuery());
  client->becomeUnable();
  session->letGo();
  queue->runAll();
  EXPECT_THAT(delivery, BroughtError(NSURLErrorDomain, urlError::cannotConnectToHost));
}

TEST_F(DriveRequest, A401IsAnsweredWithOneFreshTokenAndOneRepetitionOfTheSameRequest) {
  for (const auto& query : {aboutQuery(), listQuery(), deleteQuery(), trashQuery()}) {
    const auto first = client->sent();
    const auto delivery = execute(query);
    const auto stale = bearer(client->request(first));
    client->answer(first, 401, unauthorized);
    EXPECT_EQ(delivery->calls, 0);
    EXPECT_EQ(session->rejected().back(), stale);
    ASSERT_EQ(client->sent(), first + 2);
    EXPECT_NE(bearer(client->request(first + 1)), stale);
    EXPECT_EQ(client->request(first + 1).method, client->request(first).method);
    EXPECT_EQ(client->request(first + 1).url, client->request(first).url);
    EXPECT_EQ(client->request(first + 1).body, client->request(first).body);
    EXPECT_EQ(client->request(first + 1).headers, client->request(first).headers);
    client->answer(first + 1, 200, "{}");
    EXPECT_EQ(delivery->calls, 1);
    EXPECT_FALSE(delivery->error);
  }
}

TEST_F(DriveRequest, ASecond401IsTheErrorAndNothingLoops) {
  const auto delivery = execute(listQuery());
  client->answer(0, 401, unauthorized);
  client->answer(1, 401, unauthorized);
  EXPECT_THAT(delivery, BroughtError(GTLRErrorObjectDomain, 401));
  EXPECT_EQ(delivery->description(), "Invalid Credentials");
  EXPECT_EQ(client->sent(), 2u);
  EXPECT_THAT(session->rejected(), ElementsAre("token-1"));
}

TEST_F(DriveRequest, ASecond401WithoutGooglesErrorIsAnHTTPError) {
  const auto delivery = execute(listQuery());
  client->answer(0, 401, "");
  client->answer(1, 401, "<html>");
  EXPECT_THAT(delivery, BroughtError(GTLRServiceErrorDomain, 401));
}

TEST_F(DriveRequest, ARefreshThatFailsAfterA401IsTheError) {
  const auto delivery = execute(deleteQuery());
  session->fail(NSError("org.openid.appauth.oauth_token", -10));
  client->answer(0, 401, unauthorized);
  queue->runAll();
  EXPECT_THAT(delivery, BroughtError("org.openid.appauth.oauth_token", -10));
  EXPECT_EQ(client->sent(), 1u);
}

TEST_F(DriveRequest, AFailureOfTheRepetitionIsTheError) {
  const auto delivery = execute(trashQuery());
  client->answer(0, 401, unauthorized);
  client->answer(1, 503, "");
  EXPECT_THAT(delivery, BroughtError(GTLRServiceErrorDomain, 503));
  EXPECT_EQ(client->sent(), 2u);
}

TEST_F(DriveRequest, LeavesOnceWhateverElseGoesWrong) {
  for (const int status : {204, 302, 400, 403, 404, 408, 409, 425, 429, 500, 502, 503, 504}) {
    for (const auto& query : {aboutQuery(), listQuery(), deleteQuery(), trashQuery()}) {
      const auto before = client->sent();
      const auto delivery = execute(query);
      client->answer(before, status, "");
      EXPECT_EQ(delivery->calls, 1);
      queue->runAll();
      EXPECT_EQ(client->sent(), before + 1) << status;
    }
  }
  for (const std::int64_t code : {-1001, -1003, -1004, -1005, -1009, -1200}) {
    const auto before = client->sent();
    const auto delivery = execute(deleteQuery());
    client->answer(before, Result<HTTPResponse, NSError>::failure(NSError(NSURLErrorDomain, code)));
    EXPECT_THAT(delivery, BroughtError(NSURLErrorDomain, code));
    EXPECT_EQ(client->sent(), before + 1) << code;
  }
}

TEST_F(DriveRequest, TheHandlerIsReleasedOnceItHasBeenCalled) {
  const auto delivery = execute(aboutQuery());
  client->answer(0, 200, "{}");
  EXPECT_EQ(delivery->calls, 1);
  EXPECT_TRUE(delivery->released);
}

TEST_F(DriveRequest, RunsOnWhenItsTicketIsDropped) {
  const auto delivery = execute(aboutQuery());
  ticket.reset();
  client->answer(0, 200, "{}");
  EXPECT_EQ(delivery->calls, 1);
  EXPECT_FALSE(delivery->error);
}

TEST_F(DriveRequest, HoldsNothingOnceItIsOver) {
  auto delivery = execute(aboutQuery());
  const std::weak_ptr<GTLRServiceTicket> watched = ticket;
  ticket.reset();
  EXPECT_FALSE(watched.expired()) << "the service holds what runs";
  client->answer(0, 401, unauthorized);
  client->answer(1, 200, "{}");
  delivery->ticket.reset();
  EXPECT_TRUE(watched.expired());
}

TEST_F(DriveRequest, MayBeFollowedByAnotherFromItsOwnHandler) {
  auto second = std::make_shared<Delivery>();
  std::shared_ptr<GTLRServiceTicket> next;
  ticket = service->executeQuery(aboutQuery(), [&](const auto&, GTLRObject, std::optional<NSError>) {
    next = service->executeQuery(listQuery(), handlerFor(second));
  });
  client->answer(0, 200, "{}");
  ASSERT_EQ(client->sent(), 2u);
  client->answer(1, 200, R"({"files":[]})");
  EXPECT_EQ(second->calls, 1);
}

TEST_F(DriveRequest, MayDropTheServiceInItsOwnHandler) {
  auto other = execute(listQuery());
  int calls = 0;
  ticket = service->executeQuery(aboutQuery(), [&](const auto&, GTLRObject, std::optional<NSError>) {
    ++calls;
    service.reset();
  });
  client->answer(1, 200, "{}");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(other->calls, 0);
  EXPECT_TRUE(other->released);
}

}  // namespace
}  // namespace corvane::test
