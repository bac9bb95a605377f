#include "DriveServiceFixture.hpp"

#include <drive/DriveAdvice.hpp>

namespace corvane::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class DriveAdvice : public DriveServiceTest {
 protected:
  std::string suggestion(int status, std::string_view body) {
    const auto delivery = execute(listQuery());
    client->answer(client->sent() - 1, status, body);
    if (!delivery->error) return "no error";
    return delivery->error->localizedRecoverySuggestion().value_or("");
  }
  std::string suggestionFor(const std::string& members) {
    return suggestion(403, R"({"error":{"code":403,"message":"m",)" + members + "}}");
  }
};

struct AdviceCase {
  std::string reason;
  std::string advice;
};

void PrintTo(const AdviceCase& row, std::ostream* out) {
  *out << row.reason;
}

class AdviceByReason : public DriveAdvice, public testing::WithParamInterface<AdviceCase> {};

TEST_P(AdviceByReason, StandsInTheListOfErrorsOrInTheDetails) {
  const auto entry = R"([{"reason":")" + GetParam().reason + R"("}])";
  EXPECT_THAT(suggestionFor(R"("errors":)" + entry), HasSubstr(GetParam().advice));
  EXPECT_THAT(suggestionFor(R"("errors":[{"reason":"forbidden"}],"details":)" + entry),
              HasSubstr(GetParam().advice));
}

INSTANTIATE_TEST_SUITE_P(
    DriveAdvice, AdviceByReason,
    testing::Values(
        AdviceCase{"accessNotConfigured", "not enabled"}, AdviceCase{"SERVICE_DISABLED", "not enabled"},
        AdviceCase{"domainPolicy", "administrator"}, AdviceCase{"ORG_RESTRICTION_VIOLATION", "administrator"},
        AdviceCase{"insufficientFilePermissions", "the owner"},
        AdviceCase{"insufficientParentPermissions", "the owner"},
        AdviceCase{"appNotAuthorizedToFile", "Sign in again"},
        AdviceCase{"insufficientPermissions", "box for Google Drive"},
        AdviceCase{"ACCESS_TOKEN_SCOPE_INSUFFICIENT", "box for Google Drive"},
        AdviceCase{"storageQuotaExceeded", "storage is full"}, AdviceCase{"quotaExceeded", "tomorrow"},
        AdviceCase{"dailyLimitExceeded", "tomorrow"}, AdviceCase{"dailyLimitExceededUnreg", "tomorrow"}),
    [](const auto& row) { return row.param.reason; });

TEST_F(DriveAdvice, OtherReasonsHaveNone) {
  for (const auto* members :
       {R"("errors":[{"reason":"forbidden"}])", R"("errors":[{"reason":"notFound"}])", R"("errors":[])",
        R"("errors":[{"reason":""}],"details":[{}])", R"("errors":[{"reason":"rateLimitExceeded"}])"})
    EXPECT_EQ(suggestionFor(members), "") << members;
}

const std::string disabled = R"("errors":[{"reason":"accessNotConfigured","extendedHelp":)";

TEST_F(DriveAdvice, DisabledAPIIsEnabledWhereGoogleSays) {
  EXPECT_THAT(suggestionFor(disabled + R"("https://console.developers.google.com/apis?project=7"}])"),
              HasSubstr(" https://console.developers.google.com/apis?project=7 "));
  EXPECT_THAT(suggestionFor(R"("details":[{"reason":"SERVICE_DISABLED","metadata":)"
                            R"({"service":"x","activationUrl":"https://console.cloud.google.com/a?b=7"}}])"),
              HasSubstr(" https://console.cloud.google.com/a?b=7 "));
  EXPECT_THAT(suggestion(403, R"({"error":{"code":403,"message":"Enable it by visiting https://console.)"
                              R"(developers.google.com/x?project=7 then retry.","errors":[{"reason":)"
                              R"("accessNotConfigured"}]}})"),
              HasSubstr(" https://console.developers.google.com/x?project=7 "));
}

TEST_F(DriveAdvice, LinksThatLeadElsewhereAreNotRepeated) {
  for (const auto* link :
       {R"("http://console.google.com/")", R"("https://google.com.example.org/")", R"("https://notgoogle.com/")",
        R"("https://console.google.com@example.org/")", R"("https://console.google.com:8443/")",
        R"("https://example.org/?https://google.com/")", R"("https://console.google.com/a b")",
        R"("https://console.google.com/\u202e")", R"("javascript:alert")", R"("https://")", R"("")", "7",
        R"("https://example.org\\\\.google.com/")"}) {
    const auto text = suggestionFor(disabled + link + "}]");
    EXPECT_THAT(text, HasSubstr(" https://console.cloud.google.com/apis/library/drive.googleapis.com "))
        << link;
    EXPECT_THAT(text, AllOf(Not(HasSubstr("example")), Not(HasSubstr("8443")), Not(HasSubstr("http:"))))
        << link;
  }
}

TEST_F(DriveAdvice, DoesNotChangeTheCodeOrTheDescription) {
  const auto delivery = execute(listQuery());
  client->answer(0, 403, R"({"error":{"code":403,"message":"No.","errors":[{"reason":"domainPolicy"}]}})");
  EXPECT_THAT(delivery, BroughtError(GTLRErrorObjectDomain, 403));
  EXPECT_EQ(delivery->description(), "No.");
}

}  // namespace
}  // namespace corvane::test
