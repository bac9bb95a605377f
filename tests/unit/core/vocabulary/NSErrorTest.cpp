#include <Corvane/AnyError.hpp>
#include <Corvane/GoogleDriveAPIError.hpp>
#include <Corvane/GoogleDriveAccountProviderError.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>

#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <type_traits>
#include <utility>

#include "support/ErrorMatchers.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

struct Plain {
  int caseNumber() const { return 7; }
};
constexpr std::string_view errorTypeName(const Plain&) {
  return "Tests.Plain";
}

struct Told {
  int caseNumber() const { return 0; }
  std::optional<std::string> errorDescription() const { return "what"; }
  std::optional<std::string> failureReason() const { return "why"; }
  std::optional<std::string> recoverySuggestion() const { return std::nullopt; }
};
constexpr std::string_view errorTypeName(const Told&) {
  return "Tests.Told";
}

AnyError wrapping(AnyError underlying) {
  return NSError("Wrapper", 1, {{std::string(NSUnderlyingErrorKey), UserInfoValue(underlying)}});
}

}  // namespace

static_assert(std::is_nothrow_copy_constructible_v<AnyError>);
static_assert(std::is_nothrow_copy_constructible_v<NSError>);
static_assert(std::is_nothrow_move_assignable_v<NSError>);
static_assert(std::is_base_of_v<std::exception, AnyError>);

TEST(NSError, WithoutADescriptionNamesItsDomainAndCode) {
  EXPECT_EQ(NSError("Some.Domain", -5).localizedDescription(),
            "The operation couldn\u2019t be completed. (Some.Domain error -5.)");
}

TEST(NSError, SharesWhatItTellsWithItsCopies) {
  const NSError error("Some.Domain", -5);
  const NSError copy = error;
  EXPECT_EQ(&copy.domain(), &error.domain());
  EXPECT_EQ(&copy.userInfo(), &error.userInfo());
}

TEST(NSError, StillTellsWhatItToldOnceItHasBeenMoved) {
  NSError error("Some.Domain", -5, {{"NSLocalizedDescription", "said"}});
  const NSError taken = std::move(error);
  EXPECT_EQ(error.domain(), "Some.Domain");
  EXPECT_EQ(error.code(), -5);
  EXPECT_EQ(error.localizedDescription(), "said");
  EXPECT_EQ(taken.localizedDescription(), "said");
}

TEST(NSError, OutlivesTheOneThatItIsACopyOf) {
  auto error = std::make_optional<NSError>("Some.Domain", -5);
  const NSError copy = *error;
  error.reset();
  EXPECT_EQ(copy.domain(), "Some.Domain");
}

TEST(NSError, TellsTheDescriptionUnderItsKeyEvenAnEmptyOne) {
  EXPECT_EQ(NSError("D", 1, {{"NSLocalizedDescription", "said"}}).localizedDescription(), "said");
  EXPECT_EQ(NSError("D", 1, {{"NSLocalizedDescription", ""}}).localizedDescription(), "");
}

TEST(NSError, HasNeitherReasonNorSuggestionUnlessTheyAreTexts) {
  const NSError bare("D", 1, {{"NSLocalizedFailureReason", 3}});
  EXPECT_EQ(bare.localizedFailureReason(), std::nullopt);
  EXPECT_EQ(bare.localizedRecoverySuggestion(), std::nullopt);
  const NSError told("D", 1, {{"NSLocalizedFailureReason", "why"}, {"NSLocalizedRecoverySuggestion", "do"}});
  EXPECT_EQ(told.localizedFailureReason(), "why");
  EXPECT_EQ(told.localizedRecoverySuggestion(), "do");
}

TEST(NSError, ConstantsHoldThePlatformsTexts) {
  EXPECT_EQ(NSUnderlyingErrorKey, "NSUnderlyingError");
  EXPECT_EQ(NSLocalizedDescriptionKey, "NSLocalizedDescription");
  EXPECT_EQ(NSURLErrorDomain, "NSURLErrorDomain");
  EXPECT_EQ(NSOSStatusErrorDomain, "NSOSStatusErrorDomain");
}

TEST(ErrorBridge, DefaultsToTheTypesNameTheCaseNumberAndNoUserInfo) {
  const NSError bridged = AnyError(Plain{}).nsError();
  EXPECT_EQ(bridged.domain(), "Tests.Plain");
  EXPECT_EQ(bridged.code(), 7);
  EXPECT_TRUE(bridged.userInfo().empty());
}

TEST(ErrorBridge, PutsWhatALocalizedErrorSaysUnderItsKeys) {
  const NSError bridged = AnyError(Told{}).nsError();
  EXPECT_EQ(bridged.localizedDescription(), "what");
  EXPECT_EQ(bridged.localizedFailureReason(), "why");
  EXPECT_FALSE(bridged.userInfo().contains(std::string(NSLocalizedRecoverySuggestionErrorKey)));
}

TEST(ErrorBridge, GivesTheModulesOwnErrorsTheirQualifiedNamesAndCaseNumbers) {
  const std::string couldNot = "The operation couldn\u2019t be completed. ";
  EXPECT_THAT(AnyError(GoogleDriveAPIError::emptyAccessToken),
              IsError("Corvane.GoogleDriveAPIError", 0, couldNot + "(Corvane.GoogleDriveAPIError error 0.)"));
  EXPECT_EQ(AnyError(GoogleDriveAPIError::emptyService).code(), 1);
  EXPECT_EQ(AnyError(GoogleDriveAPIError::convertAbout).code(), 2);
  EXPECT_EQ(AnyError(GoogleDriveAPIError::convertFilesList).code(), 3);
  EXPECT_THAT(AnyError(GoogleDriveAccountProviderError::emptySelf),
              IsError("Corvane.GoogleDriveAccountProviderError", 0,
                      couldNot + "(Corvane.GoogleDriveAccountProviderError error 0.)"));
  EXPECT_EQ(AnyError(GoogleDriveAccountProviderError::emptyAccessToken).code(), 1);
}

TEST(AnyError, GivesTheTypedErrorBack) {
  const AnyError error = GoogleDriveAPIError::convertAbout;
  EXPECT_EQ(error.as<GoogleDriveAPIError>(), GoogleDriveAPIError::convertAbout);
  EXPECT_EQ(error.as<GoogleDriveAccountProviderError>(), std::nullopt);
  EXPECT_TRUE(error.holds<GoogleDriveAPIError>());
}

TEST(AnyError, FindsATypedErrorAlongTheUnderlyingErrorsButDoesNotHoldIt) {
  const AnyError error = wrapping(wrapping(GoogleDriveAPIError::convertFilesList));
  EXPECT_EQ(error.as<GoogleDriveAPIError>(), GoogleDriveAPIError::convertFilesList);
  EXPECT_FALSE(error.holds<GoogleDriveAPIError>());
}

TEST(AnyError, BecomesItselfAgainAfterPassingThroughItsNSErrorForm) {
  NSError view = AnyError(GoogleDriveAPIError::convertAbout).nsError();
  const NSError constantView = view;
  EXPECT_TRUE(AnyError(constantView).holds<GoogleDriveAPIError>());
  EXPECT_TRUE(AnyError(view).holds<GoogleDriveAPIError>());
  EXPECT_TRUE(AnyError(std::move(view)).holds<GoogleDriveAPIError>());
}

TEST(AnyError, MadeFromANSErrorKeepsAllOfIt) {
  const AnyError error = NSError("D", 4, {{"key", "value"}, {"NSLocalizedDescription", "said"}});
  EXPECT_THAT(error, IsError("D", 4, "said"));
  EXPECT_EQ(*error.nsError().userInfo().at("key").text(), "value");
  EXPECT_TRUE(error.holds<NSError>());
}

TEST(AnyError, WhatIsTheLocalizedDescription) {
  const AnyError copy = AnyError(NSError("D", 4, {{"NSLocalizedDescription", "said"}}));
  EXPECT_STREQ(copy.what(), "said");
  EXPECT_EQ(copy.what(), AnyError(copy).what());
}

TEST(AnyError, IsDescribedByTwoThreadsAtOnce) {
  const AnyError error = NSError("D", 4, {{"NSLocalizedDescription", "said"}});
  std::thread other([&error] { EXPECT_STREQ(error.what(), "said"); });
  EXPECT_STREQ(error.what(), "said");
  other.join();
}
