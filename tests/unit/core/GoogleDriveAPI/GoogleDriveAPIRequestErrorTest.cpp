#include "GoogleDriveAPI/GoogleDriveAPIRequestError.hpp"

#include <Corvane/GoogleDriveAPIError.hpp>

#include <gtest/gtest.h>

#include <memory>

#include "support/ErrorMatchers.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

struct Structured final : Printable {
  std::string description() const override { return "{code: 404, reason: notFound}"; }
};

GoogleDriveAPIRequestError about(AnyError underlying, std::optional<std::string> pageToken = std::nullopt) {
  return {"ada@example.com", std::move(pageToken), std::move(underlying)};
}

const NSError bare("com.google.GTLRErrorObjectDomain", 404, {{"NSLocalizedDescription", "Not found."}});

}  // namespace

TEST(GoogleDriveAPIRequestError, NamesThePageTokenOrTheInitialPage) {
  EXPECT_NE(about(bare, "abc").errorDescription()->find(", pageToken=abc, "), std::string::npos);
  EXPECT_NE(about(bare).errorDescription()->find(", pageToken=<initial>, "), std::string::npos);
  EXPECT_NE(about(bare, "").errorDescription()->find(", pageToken=, "), std::string::npos);
}

TEST(GoogleDriveAPIRequestError, SaysDomainCodeAndDescriptionWithoutFurtherDetails) {
  EXPECT_EQ(about(bare, "abc").errorDescription(),
            "Google Drive files.list failed. account=ada@example.com, pageToken=abc, "
            "domain=com.google.GTLRErrorObjectDomain, code=404, description=Not found.");
}

TEST(GoogleDriveAPIRequestError, LeavesOutAnAbsentReasonAndAnEmptySuggestion) {
  const NSError error("D", -1, {{"NSLocalizedDescription", "x"}, {"NSLocalizedRecoverySuggestion", ""}});
  EXPECT_EQ(about(error).errorDescription(),
            "Google Drive files.list failed. account=ada@example.com, pageToken=<initial>, "
            "domain=D, code=-1, description=x");
  const NSError emptyReason("D", -1, {{"NSLocalizedDescription", "x"}, {"NSLocalizedFailureReason", ""}});
  EXPECT_EQ(about(emptyReason).errorDescription(), about(error).errorDescription());
}

TEST(GoogleDriveAPIRequestError, SaysReasonSuggestionAndStructuredErrorInThisOrder) {
  const NSError full(
      "D", 7,
      {{"NSLocalizedDescription", "what"},
       {"NSLocalizedFailureReason", "why"},
       {"NSLocalizedRecoverySuggestion", "do this"},
       {"GTLRStructuredError", std::shared_ptr<const Printable>(std::make_shared<Structured>())}});
  EXPECT_EQ(about(full).errorDescription(),
            "Google Drive files.list failed. account=ada@example.com, pageToken=<initial>, "
            "domain=D, code=7, description=what, failureReason=why, recoverySuggestion=do this, "
            "structuredError={code: 404, reason: notFound}");
}

TEST(GoogleDriveAPIRequestError, KeepsTheUnderlyingUserInfoButForItselfAndTheDescription) {
  const NSError underlying("D", 7,
                           {{"NSLocalizedDescription", "what"},
                            {"NSUnderlyingError", AnyError(NSError("Deeper", 1))},
                            {"other", 42}});
  const auto error = about(underlying);
  const UserInfo userInfo = error.errorUserInfo();
  EXPECT_EQ(userInfo.size(), 3u);
  EXPECT_EQ(*userInfo.at("other").integer(), 42);
  EXPECT_EQ(*userInfo.at("NSLocalizedDescription").text(), *error.errorDescription());
  EXPECT_EQ(userInfo.at("NSUnderlyingError").error()->domain(), "D");
}

TEST(GoogleDriveAPIRequestError, HasItsOwnDomainAndTheCodeOfTheUnderlyingError) {
  const AnyError error = about(NSError("NSURLErrorDomain", -1001));
  EXPECT_EQ(error.domain(), "GoogleDriveAPIRequestError");
  EXPECT_EQ(error.code(), -1001);
  EXPECT_EQ(AnyError(about(NSError("com.google.GTLRErrorObjectDomain", 503))).code(), 503);
  EXPECT_EQ(AnyError(about(GoogleDriveAPIError::convertAbout)).code(), 2);
}

TEST(GoogleDriveAPIRequestError, IsDescribedByItsOwnSentence) {
  const auto error = about(bare);
  EXPECT_EQ(AnyError(error).localizedDescription(), error.errorDescription());
}
