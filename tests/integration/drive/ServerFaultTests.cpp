// What a host gets of a listing when the server or the way to it misbehaves: each row once, and for ever.
#include "APIFixture.hpp"

#include <functional>

namespace corvane::test {
namespace {

using emulator::Fault;
using emulator::Framing;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace std::chrono_literals;

struct ServerFault {
  std::string name;
  std::function<Fault()> make;
  std::string_view domain;
  std::int64_t code;
  bool retried;
};

void PrintTo(const ServerFault& row, std::ostream* out) {
  *out << row.name;
}

Fault but(Fault fault, const std::function<void(Fault&)>& change) {
  change(fault);
  return fault;
}

/// Google's error with these lists of reasons.
Fault forbidden(const std::string& lists) {
  auto fault = Fault::content(R"({"error":{"code":403,"message":"No",)" + lists + "}}", "application/json");
  fault.status = 403;
  return fault;
}

Fault oddError(std::string body) {
  auto fault = Fault::content(std::move(body), "application/json");
  fault.status = 503;
  return fault;
}

constexpr auto google = GTLRErrorObjectDomain;
constexpr auto http = GTLRServiceErrorDomain;
constexpr auto way = NSURLErrorDomain;

const ServerFault serverFaults[] = {
    {"Busy503", [] { return Fault::error(503, "backendError"); }, google, 503, true},
    {"Internal500", [] { return Fault::error(500, "internalError"); }, google, 500, true},
    {"Gateway504", [] { return Fault::error(504, "backendError"); }, google, 504, true},
    {"Gateway502AsHTML", [] { return Fault::html(502, "<html>of a corporate proxy</html>"); }, http, 502,
     true},
    {"TooMany429", [] { return Fault::error(429, "rateLimitExceeded"); }, google, 429, true},
    {"TooMany429WithRetryAfter",
     [] { return Fault::error(429, "rateLimitExceeded").withHeader("Retry-After", "3600"); }, google, 429,
     true},
    {"RateLimitAs403First", [] { return forbidden(R"("errors":[{"reason":"userRateLimitExceeded"}])"); },
     google, 429, true},
    {"RateLimitAs403Second",
     [] { return forbidden(R"("errors":[{"reason":"forbidden"},{"reason":"rateLimitExceeded"}])"); }, google,
     429, true},
    {"RateLimitAs403InDetailsOnly",
     [] { return forbidden(R"("errors":[],"details":[{"@type":"x","reason":"RATE_LIMIT_EXCEEDED"}])"); },
     google, 429, true},
    {"NoPermission403", [] { return Fault::error(403, "insufficientFilePermissions"); }, google, 403, false},
    {"DailyLimit403", [] { return Fault::error(403, "dailyLimitExceeded"); }, google, 403, false},
    {"StorageQuota403", [] { return Fault::error(403, "storageQuotaExceeded"); }, google, 403, false},
    {"HTML403", [] { return Fault::html(403, "<html>corporate policy</html>"); }, http, 403, false},
    {"Empty403", [] { return Fault::empty(403); }, http, 403, false},
    {"NotFound404", [] { return Fault::error(404, "notFound"); }, google, 404, false},
    {"Redirect302", [] { return Fault::redirect("http://127.0.0.1:9/?stolen"); }, http, 302, false},
    {"Redirect308", [] { return Fault::redirect("http://127.0.0.1:9/?stolen", 308); }, http, 308, false},
    {"ErrorAsAText", [] { return oddError(R"({"error":"unavailable"})"); }, http, 503, true},
    {"ErrorAsAList", [] { return oddError(R"([{"error":{"code":404}}])"); }, http, 503, true},
    {"ErrorCutOff", [] { return oddError(R"({"error":{"code":404,)"); }, http, 503, true},
    {"ErrorWithoutItsMembers", [] { return oddError(R"({"error":{}})"); }, google, 503, true},
    {"ErrorOfOddKinds", [] { return oddError(R"({"error":{"code":"many","message":7,"errors":{}}})"); },
     google, 503, true},
    {"ResetBeforeTheHeaders", [] { return Fault::resetAfterBytes(0); }, way, -1005, true},
    {"ResetWithinTheHeaders", [] { return Fault::resetAfterBytes(30); }, way, -1005, true},
    {"ResetWithinTheBody", [] { return Fault::resetAfterBytes(5'000); }, way, -1005, true},
    {"ClosedWithoutAnAnswer", [] { return Fault::closeWithoutAnswer(); }, way, -1005, true},
    {"ClosedWithinTheBody", [] { return Fault::closeAfterBodyBytes(5'000); }, way, -1005, true},
    {"BodyShorterThanAnnounced", [] { return but({}, [](Fault& fault) { fault.lengthDelta = 100; }); }, way,
     -1005, true},
    {"BodyLongerThanAnnounced", [] { return but({}, [](Fault& fault) { fault.lengthDelta = -100; }); }, way,
     -1017, false},
    {"PlainBodyLongerThanAnnounced",
     [] {
       return but({}, [](Fault& fault) {
         fault.uncompressed = true;
         fault.lengthDelta = -100;
       });
     },
     way, -1017, false},
    {"BrokenChunks", [] { return but({}, [](Fault& fault) { fault.framing = Framing::BrokenChunks; }); }, way,
     -1005, true},
    {"NotHTTP", [] { return Fault::rawBytes("220 mail.example.com ESMTP corporate\r\n\r\n"); }, way, -1005,
     true},
    {"CorruptGzip", [] { return but({}, [](Fault& fault) { fault.corruptGzip = true; }); }, way, -1017,
     false},
    {"GzipBomb", [] { return but({}, [](Fault& fault) { fault.hugeBody = 64 << 20; }); }, way, -1103, false},
    {"TenGigabytesAnnounced",
     [] {
       return but({}, [](Fault& fault) {
         fault.hugeBody = std::uint64_t{10} << 30;
         fault.uncompressed = true;
       });
     },
     way, -1103, false},
    {"TenGigabytesUnannounced",
     [] {
       return but({}, [](Fault& fault) {
         fault.hugeBody = std::uint64_t{10} << 30;
         fault.uncompressed = true;
         fault.framing = Framing::UntilClose;
       });
     },
     way, -1103, false},
    {"EndlessHeaders", [] { return but({}, [](Fault& fault) { fault.endlessHeaders = true; }); }, way, -1103,
     false},
    {"SignInPageOfANetwork", [] { return Fault::content("<html>Welcome to our corporate network</html>"); },
     way, -1017, false},
};

class ServerFaults : public APIFixture, public testing::WithParamInterface<ServerFault> {};

TEST_P(ServerFaults, OnceIsWaitedOutOrFailsItsPageAlone) {
  google.faults().add("files.list", GetParam().make());
  std::optional<FilesPage> page;
  const auto error = failureOf([&] { page = firstPage(); });
  if (GetParam().retried) {
    ASSERT_TRUE(page) << error->what();
    EXPECT_THAT(impatient->delays(), ElementsAre(1s));
    EXPECT_EQ(google.journal().count("files.list"), 2u);
  } else {
    ASSERT_TRUE(error);
    EXPECT_THAT(*error, IsListingError(GetParam().domain, GetParam().code));
    EXPECT_THAT(impatient->delays(), IsEmpty());
    EXPECT_EQ(google.journal().count("files.list"), 1u);
    page = firstPage();
  }
  EXPECT_GE(page->files().size(), 499u);  // every 997th has no createdTime
  EXPECT_EQ(session->refreshes(), 0);
}

TEST_P(ServerFaults, ForEverEndAfterFiveAttemptsAtMost) {
  google.faults().add("files.list", GetParam().make(), GetParam().retried ? 5 : 1);
  const auto error = failureOf([&] { firstPage(); });
  ASSERT_TRUE(error);
  EXPECT_THAT(*error, IsListingError(GetParam().domain, GetParam().code));
  EXPECT_THAT(error->what(), HasSubstr("account=ada@example.com, pageToken=<initial>, "));
  EXPECT_EQ(impatient->delays().size(), GetParam().retried ? 4u : 0u);
}

INSTANTIATE_TEST_SUITE_P(, ServerFaults, testing::ValuesIn(serverFaults),
                         [](const auto& row) { return row.param.name; });

class ServerFaultOfItsOwn : public APIFixture {};

TEST_F(ServerFaultOfItsOwn, TheLastOfFiveErrorsIsTheOneThatIsTold) {
  for (const auto* message : {"one", "two", "three", "four", "five"})
    google.faults().add("files.list", Fault::error(503, "backendError", message));
  const auto error = failureOf([&] { firstPage(); });
  ASSERT_TRUE(error);
  EXPECT_THAT(error->what(), HasSubstr("description=five"));
  EXPECT_THAT(impatient->delays(), ElementsAre(1s, 2s, 4s, 8s));
  EXPECT_EQ(google.journal().count("files.list"), 5u);
}

TEST_F(ServerFaultOfItsOwn, A401IsAnsweredWithANewTokenOnceWithoutARetry) {
  google.expireTokens();
  EXPECT_GE(firstPage().files().size(), 499u);
  EXPECT_EQ(session->refreshes(), 1);
  EXPECT_THAT(impatient->delays(), IsEmpty());
}

TEST_F(ServerFaultOfItsOwn, A401ForEverIsTheErrorAfterOneNewToken) {
  google.faults().add("files.list", Fault::unauthorized(), 2);
  const auto error = failureOf([&] { firstPage(); });
  ASSERT_TRUE(error);
  EXPECT_THAT(*error, IsListingError(GTLRErrorObjectDomain, 401));
  EXPECT_EQ(session->refreshes(), 1);
  EXPECT_THAT(impatient->delays(), IsEmpty());
}

TEST_F(ServerFaultOfItsOwn, NothingWhereAListIsDueFailsThePageUnretried) {
  for (const int status : {200, 204}) {
    google.faults().add("files.list", Fault::empty(status));
    const auto error = failureOf([&] { firstPage(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "Corvane.GoogleDriveAPIError");
  }
  EXPECT_THAT(impatient->delays(), IsEmpty());
  EXPECT_EQ(google.journal().count("files.list"), 2u);
}

TEST_F(ServerFaultOfItsOwn, InterimAnswersAreSkipped) {
  Fault interim;
  interim.interim = {100, 102, 103, 103};
  google.faults().add("files.list", interim);
  EXPECT_GE(firstPage().files().size(), 499u);
  EXPECT_EQ(google.journal().count("files.list"), 1u);
}

TEST_F(ServerFaultOfItsOwn, AKeptConnectionThatTheServerClosedGoesUnnoticed) {
  firstPage();
  google.closeIdleConnections();
  EXPECT_GE(firstPage().files().size(), 499u);
  Fault closing;
  closing.closeAfterAnswer = true;
  google.faults().add("files.list", closing);
  firstPage();
  firstPage();
  EXPECT_THAT(impatient->delays(), IsEmpty());
  EXPECT_EQ(google.journal().count("files.list"), 4u);
}

TEST_F(ServerFaultOfItsOwn, ARedirectionShowsItsTargetNothing) {
  emulator::Emulator elsewhere{{}};
  elsewhere.start();
  for (const int status : {301, 302, 303, 307, 308}) {
    google.faults().add("files.list", Fault::redirect(elsewhere.baseURL() + "/drive/v3/files", status));
    const auto error = failureOf([&] { firstPage(); });
    ASSERT_TRUE(error);
    EXPECT_THAT(*error, IsListingError(GTLRServiceErrorDomain, status));
  }
  EXPECT_EQ(elsewhere.journal().count(), 0u);
}

TEST_F(ServerFaultOfItsOwn, ARefusedConnectionIsTriedAgainAndThenTheError) {
  google.stop();
  const auto error = failureOf([&] { firstPage(); });
  ASSERT_TRUE(error);
  EXPECT_THAT(*error, IsListingError(NSURLErrorDomain, -1004));
  EXPECT_THAT(impatient->delays(), ElementsAre(1s, 2s, 4s, 8s));
}

TEST_F(ServerFaultOfItsOwn, AnAnswerThatStallsIsTimedOutAndAskedForAgain) {
  HTTPLimits limits;
  limits.stall = 1s;
  useLimits(limits);
  Fault stalling = Fault::held(std::make_shared<emulator::Gate>());
  stalling.gateAfter = 0;
  google.faults().add("files.list", stalling);
  google.faults().add("files.list", Fault::slow(1, 1s));
  EXPECT_GE(firstPage().files().size(), 499u);
  EXPECT_THAT(impatient->delays(), ElementsAre(1s, 2s));
  EXPECT_THAT(log->messages(), testing::Contains(HasSubstr("domain=NSURLErrorDomain, code=-1001")).Times(2));
}

}  // namespace
}  // namespace corvane::test
