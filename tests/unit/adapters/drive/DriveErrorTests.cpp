#include "DriveServiceFixture.hpp"

#include <URLHost.hpp>

namespace corvane::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class DriveError : public DriveServiceTest {
 protected:
  std::shared_ptr<Delivery> failed(int status, std::string_view body) {
    const auto delivery = execute(listQuery());
    client->answer(client->sent() - 1, status, body);
    EXPECT_EQ(delivery->calls, 1) << body;
    return delivery;
  }
  static std::string structuredError(const Delivery& delivery) {
    const auto entry = delivery.error->userInfo().find(std::string(GTLRStructuredErrorKey));
    return entry == delivery.error->userInfo().end() ? "none" : entry->second.description();
  }
};

TEST_F(DriveError, GooglesErrorKeepsItsCodeAndMessage) {
  const auto delivery = failed(404, R"({"error":{"code":404,"message":"File not found: 1AbC.","errors":[
      {"domain":"global","reason":"notFound","message":"File not found: 1AbC.","locationType":"parameter",
       "location":"fileId"}]}})");
  EXPECT_THAT(delivery, BroughtError(GTLRErrorObjectDomain, 404));
  EXPECT_EQ(delivery->description(), "File not found: 1AbC.");
}

TEST_F(DriveError, TheStructuredErrorPrintsAsOneLine) {
  const auto delivery =
      failed(403, R"({"error":{"code":403,"message":"No\nscope","status":"PERMISSION_DENIED",
      "errors":[{"domain":"global","reason":"insufficientPermissions","message":"M","locationType":"header",
                 "location":"Authorization"}],
      "details":[{"@type":"type.googleapis.com/google.rpc.ErrorInfo","reason":"ACCESS_TOKEN_SCOPE_INSUFFICIENT",
                  "domain":"googleapis.com"}]}})");
  EXPECT_EQ(
      structuredError(*delivery),
      R"({code: 403, message: "No scope", status: "PERMISSION_DENIED", )"
      R"(errors: [{domain: "global", reason: "insufficientPermissions", message: "M", locationType: "header", )"
      R"(location: "Authorization"}], )"
      R"(details: [{reason: "ACCESS_TOKEN_SCOPE_INSUFFICIENT", domain: "googleapis.com"}]})");
}

TEST_F(DriveError, AnErrorWithoutACodeTakesTheHTTPStatus) {
  const auto delivery = failed(503, R"({"error":{"message":"Backend Error"}})");
  EXPECT_THAT(delivery, BroughtError(GTLRErrorObjectDomain, 503));
  EXPECT_EQ(delivery->description(), "Backend Error");
}

TEST_F(DriveError, AnErrorWithoutAMessageSaysWhatIsKnown) {
  const auto delivery = failed(500, R"({"error":{}})");
  EXPECT_THAT(delivery, BroughtError(GTLRErrorObjectDomain, 500));
  EXPECT_THAT(delivery->description(), AllOf(HasSubstr("500"), HasSubstr("www.googleapis.com")));
  EXPECT_EQ(structuredError(*delivery), "{}");
}

struct RateLimitCase {
  std::string name;
  std::string entries;
  std::int64_t code;
};

void PrintTo(const RateLimitCase& row, std::ostream* out) {
  *out << row.name;
}

class Forbidden : public DriveError, public testing::WithParamInterface<RateLimitCase> {};

TEST_P(Forbidden, Is429OnlyForARateLimitAndTheStructuredErrorKeepsThe403) {
  const auto delivery = failed(403, R"({"error":{"code":403,"message":"m",)" + GetParam().entries + "}}");
  EXPECT_THAT(delivery, BroughtError(GTLRErrorObjectDomain, GetParam().code));
  EXPECT_THAT(structuredError(*delivery), HasSubstr("code: 403"));
}

INSTANTIATE_TEST_SUITE_P(
    DriveError, Forbidden,
    testing::Values(
        RateLimitCase{"First", R"("errors":[{"reason":"rateLimitExceeded"}])", 429},
        RateLimitCase{"ByUser", R"("errors":[{"domain":"usageLimits","reason":"userRateLimitExceeded"}])",
                      429},
        RateLimitCase{"Second", R"("errors":[{"reason":"forbidden"},{"reason":"rateLimitExceeded"}])", 429},
        RateLimitCase{"AfterOddEntries", R"("errors":[7,null,{},{"reason":"rateLimitExceeded"}])", 429},
        RateLimitCase{"DetailsOnly", R"("details":[{"@type":"x"},{"reason":"RATE_LIMIT_EXCEEDED"}])", 429},
        RateLimitCase{"DetailsBesideErrors",
                      R"("errors":[{"reason":"forbidden"}],"details":[{"reason":"RATE_LIMIT_EXCEEDED"}])",
                      429},
        RateLimitCase{"DailyLimit", R"("errors":[{"domain":"usageLimits","reason":"dailyLimitExceeded"}])",
                      403},
        RateLimitCase{"StorageQuota", R"("errors":[{"reason":"storageQuotaExceeded"}])", 403},
        RateLimitCase{"Permission", R"("errors":[{"reason":"insufficientFilePermissions"}])", 403},
        RateLimitCase{"SharingRateLimit", R"("errors":[{"reason":"sharingRateLimitExceeded"}])", 403},
        RateLimitCase{"OnlyInTheMessage", R"("errors":[{"message":"rateLimitExceeded"}])", 403},
        RateLimitCase{"NoReasons", R"("errors":[],"details":[])", 403}),
    [](const auto& row) { return row.param.name; });

TEST_F(DriveError, A403WithoutACodeOfItsOwnIsARateLimitToo) {
  EXPECT_THAT(failed(403, R"({"error":{"errors":[{"reason":"rateLimitExceeded"}]}})"),
              BroughtError(GTLRErrorObjectDomain, 429));
}

TEST_F(DriveError, ARateLimitReasonOfAnotherStatusChangesNothing) {
  EXPECT_THAT(failed(400, R"({"error":{"code":400,"errors":[{"reason":"rateLimitExceeded"}]}})"),
              BroughtError(GTLRErrorObjectDomain, 400));
  EXPECT_THAT(failed(429, R"({"error":{"code":429,"errors":[{"reason":"rateLimitExceeded"}]}})"),
              BroughtError(GTLRErrorObjectDomain, 429));
}

TEST_F(DriveError, AFailureWithoutGooglesErrorIsAnHTTPErrorThatShowsNothingOfTheBody) {
  for (const auto* body :
       {"", "<html><body><h1>Secret markup</h1></body></html>", "[]", "null", "\"markup\"", "7", "{}",
        R"({"error":"invalid_grant","error_description":"markup"})", R"({"error":null})",
        R"([{"error":{"code":404,"message":"markup"}}])", R"({"error":{"code":404,"message":"markup")",
        R"({"errors":[{"reason":"rateLimitExceeded"}]})", "\xFF\xFE markup"}) {
    for (const int status : {301, 302, 307, 400, 403, 404, 407, 429, 500, 502, 503, 504, 599}) {
      const auto delivery = failed(status, body);
      EXPECT_THAT(delivery, BroughtError(GTLRServiceErrorDomain, status)) << body;
      EXPECT_THAT(
          delivery->description(),
          AllOf(HasSubstr("www.googleapis.com"), HasSubstr(std::to_string(status)), Not(HasSubstr("markup")),
                Not(HasSubstr("<")), Not(HasSubstr("?")), Not(HasSubstr("token-"))));
      EXPECT_EQ(structuredError(*delivery), "none");
    }
  }
}

TEST_F(DriveError, ARedirectionIsNotFollowed) {
  EXPECT_THAT(failed(302, ""), BroughtError(GTLRServiceErrorDomain, 302));
  EXPECT_EQ(client->sent(), 1u);
}

TEST_F(DriveError, AMessageStaysOneLineOfBoundedLength) {
  const auto delivery = failed(400, R"({"error":{"code":400,"message":"a\r\nb\u0000c\u202ed\u2028)" +
                                        std::string(5'000, 'x') + R"("}})");
  EXPECT_THAT(delivery->description(), testing::StartsWith("a  b\uFFFDc\uFFFDd xxx"));
  EXPECT_LT(delivery->description().size(), 1'100u);
  EXPECT_LT(structuredError(*delivery).size(), 1'200u);
}

TEST_F(DriveError, ManyErrorEntriesAreCutShort) {
  std::string entries = R"({"reason":"r","domain":"d"})";
  for (int i = 0; i < 500; ++i) entries += R"(,{"reason":"r","domain":"d"})";
  const auto text = structuredError(*failed(400, R"({"error":{"errors":[)" + entries + "]}}"));
  EXPECT_THAT(text, HasSubstr(", …]"));
  EXPECT_LT(text.size(), 1'000u);
}

TEST_F(DriveError, ATokenThatTheServerRepeatsIsStruckOut) {
  const auto delivery = failed(
      400,
      R"({"error":{"code":400,"message":"bad token-1!","errors":[{"reason":"token-1","location":"a token-1 b"}]}})");
  EXPECT_EQ(delivery->description(), "bad …!");
  EXPECT_THAT(structuredError(*delivery), Not(HasSubstr("token-1")));
}

TEST_F(DriveError, TransportErrorsPassUnchanged) {
  const auto delivery = execute(listQuery());
  client->answer(0, Result<HTTPResponse, NSError>::failure(NSError(
                        NSURLErrorDomain, -1005, {{std::string(NSLocalizedDescriptionKey), "lost"}})));
  EXPECT_THAT(delivery, BroughtError(NSURLErrorDomain, -1005));
  EXPECT_EQ(delivery->description(), "lost");
}

TEST(DriveErrorHost, IsNeitherPathNorQueryNorUser) {
  EXPECT_EQ(hostOf("https://www.googleapis.com/drive/v3/"), "www.googleapis.com");
  EXPECT_EQ(hostOf("http://127.0.0.1:8080/drive/v3/?a=b"), "127.0.0.1:8080");
  EXPECT_EQ(hostOf("http://user:password@[::1]:80"), "[::1]:80");
  EXPECT_EQ(hostOf("https://h?token=x"), "h");
}

}  // namespace
}  // namespace corvane::test
