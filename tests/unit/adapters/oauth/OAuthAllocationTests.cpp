// Memory that runs out while a session is refreshed: each allocation fails in turn, once alone and once with all after
// it, and each time whoever waits is told once, and whoever asks next has a token.
#include "Documents.hpp"
#include "ManualClock.hpp"
#include "ScriptedHTTPClient.hpp"
#include "oauth/AuthorizationRequest.hpp"
#include "oauth/OAuthSession.hpp"
#include "oauth/SignInGrant.hpp"
#include "support/AllocationOperators.hpp"
#include "support/ManualQueue.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <vector>

namespace {

enum class Shortage { none, once, lasting };

thread_local Shortage shortage = Shortage::none;
thread_local int remaining = 0;
thread_local bool reached = false;

}  // namespace

void* corvane::test::allocate(std::size_t size) noexcept {
  if (shortage != Shortage::none && remaining-- <= 0 && (shortage == Shortage::lasting || !reached)) {
    reached = true;
    return nullptr;
  }
  return std::malloc(size == 0 ? 1 : size);
}

void corvane::test::release(void* memory) noexcept {
  std::free(memory);
}

namespace corvane::test {
namespace {

/// A session whose token has expired, and those who asked it for one.
struct Case {
  std::shared_ptr<ScriptedHTTPClient> http = std::make_shared<ScriptedHTTPClient>();
  std::shared_ptr<ManualQueue> pool = std::make_shared<ManualQueue>();
  ManualClock clock;
  std::function<void()> clockIsRead;
  std::shared_ptr<OAuthSession> session = make();
  struct Told {
    int tokens = 0;
    int errors = 0;
    bool threw = false;
  };
  std::vector<Told> told = std::vector<Told>(3);
  std::vector<AnyCancellable> waiting = std::vector<AnyCancellable>(3);

  std::shared_ptr<OAuthSession> make() {
    OAuthGrant grant;
    grant.clientID = "client-1";
    grant.clientSecret = Secret("client-secret");
    grant.tokenEndpoint = "https://oauth2.example/token";
    grant.accessToken = Secret("token-1");
    grant.accessTokenExpiry = clock.wall();
    grant.refreshToken = Secret("refresh/1");
    return std::make_shared<OAuthSession>(std::move(grant), http, pool, [this, now = clock.clock()] {
      if (clockIsRead) clockIsRead();
      return now();
    });
  }

  void ask(std::size_t who) {
    try {
      waiting[who] = session->accessToken({}, [&each = told[who]](const Result<Secret, NSError>& result) {
        ++(result ? each.tokens : each.errors);
      });
    } catch (const std::bad_alloc&) {
      told[who].threw = true;
    }
  }

  int ends(std::size_t who) const { return told[who].tokens + told[who].errors + (told[who].threw ? 1 : 0); }

  std::size_t taken = 0;
  std::shared_ptr<ScriptedHTTPClient::Exchange> next() {
    ++taken;
    return http->next();
  }

  /// Answers whatever is still asked for.
  void serve() {
    while (taken < http->sent()) next()->answer(200, R"({"access_token":"token-3","token_type":"Bearer"})");
  }
};

struct OAuthAllocation : ::testing::TestWithParam<Shortage> {
  /// Does the step with one allocation more each time, until there is memory enough.
  static void exhaust(const std::function<void(Case&)>& prepare, const std::function<void(Case&)>& step,
                      const std::function<void(Case&)>& check) {
    constexpr int enough = 1'000;
    int allocations = 0;
    for (bool isEnough = false; !isEnough && allocations < enough; ++allocations) {
      SCOPED_TRACE(std::to_string(allocations) + " allocations");
      Case each;
      prepare(each);
      reached = false;
      remaining = allocations;
      shortage = GetParam();
      step(each);
      shortage = Shortage::none;
      isEnough = !reached;
      each.pool->runAll();
      check(each);
      if (HasFailure()) return;
    }
    EXPECT_GT(allocations, 1);
    EXPECT_LT(allocations, enough);
  }

  /// The next who asks is served, by a further request if need be, though none of the earlier ones is answered.
  static void expectUsable(Case& each) {
    each.ask(2);
    each.serve();
    EXPECT_EQ(each.told[2].tokens, 1);
  }

  static void exhaustAnswer(int status, const std::string& body) {
    std::shared_ptr<ScriptedHTTPClient::Exchange> exchange;
    HTTPResponse response;
    exhaust(
        [&](Case& each) {
          each.ask(0);
          each.ask(1);
          exchange = each.next();
          response.status = status;
          response.body = dataFromText(body);
        },
        [&](Case&) { exchange->answer(std::move(response)); },
        [](Case& each) {
          EXPECT_EQ(each.ends(0), 1);
          EXPECT_EQ(each.ends(1), 1);
          expectUsable(each);
        });
  }
};

TEST_P(OAuthAllocation, ThatFailsWhileARefreshStartsIsOneErrorAndTheNextWhoAsksIsServed) {
  exhaust([](Case&) {}, [](Case& each) { each.ask(0); },
          [](Case& each) {
            if (reached) {
              EXPECT_EQ(each.ends(0), 1);
              EXPECT_EQ(each.told[0].tokens, 0);
              expectUsable(each);
            } else {
              EXPECT_EQ(each.ends(0), 0) << "it waits";
            }
          });
}

TEST_P(OAuthAllocation, ThatFailsWhileARefreshIsJoinedDoesNotDisturbWhoWaits) {
  exhaust([](Case& each) { each.ask(0); }, [](Case& each) { each.ask(1); },
          [](Case& each) {
            EXPECT_EQ(each.told[1].threw, reached);
            each.serve();
            EXPECT_EQ(each.told[0].tokens, 1);
            EXPECT_EQ(each.ends(1), 1);
          });
}

TEST_P(OAuthAllocation, ThatFailsOnceATokenAnswerIsReadTellsEachWhoWaitsOnceAndKeepsTheToken) {
  std::shared_ptr<ScriptedHTTPClient::Exchange> exchange;
  HTTPResponse response;
  exhaust(
      [&](Case& each) {
        each.ask(0);
        each.ask(1);
        exchange = each.next();
        response.status = 200;
        response.body = dataFromText(R"({"access_token":"token-2","token_type":"Bearer"})");
        each.clockIsRead = [] { shortage = GetParam(); };
      },
      [&](Case& each) {
        shortage = Shortage::none;
        exchange->answer(std::move(response));
        each.clockIsRead = nullptr;
      },
      [](Case& each) {
        EXPECT_EQ(each.ends(0), 1);
        EXPECT_EQ(each.ends(1), 1);
        expectUsable(each);
        EXPECT_EQ(each.http->sent(), 1u);
      });
}

TEST_P(OAuthAllocation, ThatFailsOverAFailedAnswerTellsEachWhoWaitsOnce) {
  exhaustAnswer(503, "busy");
  exhaustAnswer(200, "<html>");
  exhaustAnswer(400, R"({"error":"invalid_grant","error_description":"Token has been expired or revoked."})");
}

TEST_P(OAuthAllocation, ThatFailsWhileATokenAnswerIsReadTellsEachWhoWaitsOnce) {
  exhaustAnswer(200, R"({"access_token":"token-2","expires_in":3599,"token_type":"Bearer",
                         "scope":"openid https://www.googleapis.com/auth/drive",
                         "more":[["of",{"what":"nobody"}],{"asked":["for",null]}]})");
}

/// The exchange of a sign-in's code, up to the grant that a session is made of.
struct Exchanged {
  std::shared_ptr<ScriptedHTTPClient> http = std::make_shared<ScriptedHTTPClient>();
  std::shared_ptr<ManualQueue> pool = std::make_shared<ManualQueue>();
  ManualClock clock;
  AuthorizationRequest request{clientID, "http://127.0.0.1:4711/callback", ""};
  TokenEndpoint endpoint{http, pool, "https://oauth2.example/token"};
  int grants = 0;
  int errors = 0;
  int shortages = 0;

  HTTPResponse answer(int status, const std::string& body) const {
    HTTPResponse response;
    response.status = status;
    response.body = dataFromText(body);
    return response;
  }
  std::string goodBody() {
    const std::string nonce(request.nonce.reveal());
    return goodTokens(idToken(goodClaims(nonce, clock.wall()))).dump();
  }

  std::shared_ptr<Cancellable> send() {
    return endpoint.send(request.exchangeForm(Secret("the-code"), Secret("the-secret")),
                         [this](Result<TokenResponse, NSError> result) {
                           if (!result) {
                             ++errors;
                             return;
                           }
                           try {
                             const auto accepted = acceptTokens(std::move(result).value(), request,
                                                                issuer, clock.wall());
                             ++(accepted ? grants : errors);
                           } catch (const std::bad_alloc&) {
                             ++shortages;
                           }
                         });
  }
};

/// Does the step with one allocation more each time, until there is memory enough.
void exhaustExchange(Shortage kind, const std::function<void(Exchanged&)>& step) {
  constexpr int enough = 1'000;
  int allocations = 0;
  for (bool isEnough = false; !isEnough && allocations < enough; ++allocations) {
    SCOPED_TRACE(std::to_string(allocations) + " allocations");
    Exchanged each;
    reached = false;
    remaining = allocations;
    step(each);
    shortage = Shortage::none;
    isEnough = !reached;
    each.pool->runAll();
    EXPECT_EQ(each.grants + each.errors + each.shortages, 1);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(allocations, 1) << static_cast<int>(kind);
  EXPECT_LT(allocations, enough);
}

TEST_P(OAuthAllocation, ThatFailsWhileACodeIsSentIsOneError) {
  exhaustExchange(GetParam(), [](Exchanged& each) {
    std::shared_ptr<Cancellable> request;
    shortage = GetParam();
    try {
      request = each.send();
    } catch (const std::bad_alloc&) {
      ++each.shortages;
    }
    shortage = Shortage::none;
    if (each.http->sent() > 0) each.http->next()->answer(each.answer(200, each.goodBody()));
  });
}

TEST_P(OAuthAllocation, ThatFailsWhileAnExchangesAnswerIsReadIsOneError) {
  for (const auto& [status, body] :
       {std::pair<int, std::string>{200, ""},
        {200, "<html>"},
        {503, "busy"},
        {400, R"({"error":"invalid_grant"})"},
        {401,
         R"({"error":"invalid_client","error_description":"The OAuth client was not found."})"}})
    exhaustExchange(GetParam(), [&](Exchanged& each) {
      const auto request = each.send();
      const auto exchange = each.http->next();
      auto response = each.answer(status, body.empty() ? each.goodBody() : body);
      shortage = GetParam();
      exchange->answer(std::move(response));
      shortage = Shortage::none;
    });
}

TEST_P(OAuthAllocation, ThatFailsWhenTheClientDropsARefreshTellsEachWhoWaitsOnce) {
  std::shared_ptr<ScriptedHTTPClient::Exchange> exchange;
  exhaust(
      [&](Case& each) {
        each.ask(0);
        each.ask(1);
        exchange = each.next();
      },
      [&](Case&) { exchange->drop(); },
      [](Case& each) {
        EXPECT_EQ(each.told[0].errors, 1);
        EXPECT_EQ(each.told[1].errors, 1);
        expectUsable(each);
      });
}

INSTANTIATE_TEST_SUITE_P(, OAuthAllocation, ::testing::Values(Shortage::once, Shortage::lasting),
                         [](const auto& test) { return test.param == Shortage::once ? "Once" : "Lasting"; });

}  // namespace
}  // namespace corvane::test
