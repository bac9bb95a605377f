#include "GoogleDriveAuthorizationProvider/SignInErrorMapping.hpp"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using namespace corvane;

namespace {

using Case = GoogleDriveAuthorizationProviderError::Case;

Case mapped(const NSError& error) {
  return mapSignInError(error).kind();
}

NSError authorizationError(UserInfo userInfo) {
  return NSError("org.openid.appauth.oauth_authorization", -5, std::move(userInfo));
}

NSError generalError(std::int64_t code, UserInfoValue underlying) {
  return NSError("org.openid.appauth.general", code, {{"NSUnderlyingError", std::move(underlying)}});
}

UserInfoValue webError(std::int64_t code) {
  return AnyError(NSError("com.apple.AuthenticationServices.WebAuthenticationSession", code));
}

UserInfo response(const char* error) {
  return {{"OIDOAuthErrorResponseErrorKey", UserInfo{{"error", error}}}};
}

}  // namespace

TEST(SignInErrorMapping, NoErrorIsUnknown) {
  EXPECT_EQ(mapSignInError(std::nullopt).kind(), Case::signInFailedUnknown);
}

TEST(SignInErrorMapping, GrantingOnlySomeScopesIsMissingRequiredScopes) {
  EXPECT_EQ(mapped(NSError("TessoraService", -2)), Case::missingRequiredScopes);
  EXPECT_EQ(mapped(NSError("TessoraService", -1)), Case::signInFailed);
  EXPECT_EQ(mapped(NSError("Another", -2)), Case::signInFailed);
}

TEST(SignInErrorMapping, DecliningConsentIsAccessDeniedWhateverTheCode) {
  EXPECT_EQ(mapped(authorizationError(response("access_denied"))), Case::accessDenied);
  EXPECT_EQ(mapped(NSError("org.openid.appauth.oauth_authorization", 12, response("access_denied"))),
            Case::accessDenied);
}

TEST(SignInErrorMapping, AnOAuthResponseOtherThanAccessDeniedIsSignInFailed) {
  EXPECT_EQ(mapped(authorizationError(response("invalid_scope"))), Case::signInFailed);
  EXPECT_EQ(mapped(authorizationError({})), Case::signInFailed);
  EXPECT_EQ(mapped(authorizationError({{"OIDOAuthErrorResponseErrorKey", "access_denied"}})),
            Case::signInFailed);
  EXPECT_EQ(mapped(authorizationError({{"OIDOAuthErrorResponseErrorKey", UserInfo{{"error", 7}}}})),
            Case::signInFailed);
  EXPECT_EQ(mapped(authorizationError({{"OIDOAuthErrorResponseErrorKey", UserInfo{{"other", "x"}}}})),
            Case::signInFailed);
  EXPECT_EQ(mapped(NSError("org.openid.appauth.oauth_token", -5, response("access_denied"))),
            Case::signInFailed);
}

TEST(SignInErrorMapping, ClosingTheBrowserSignInIsUserCancelled) {
  EXPECT_EQ(mapped(generalError(-3, webError(1))), Case::userCancelled);
}

TEST(SignInErrorMapping, AGeneralErrorOfAnotherCodeOrCauseIsSignInFailed) {
  EXPECT_EQ(mapped(generalError(-4, webError(1))), Case::signInFailed);
  EXPECT_EQ(mapped(generalError(-3, webError(2))), Case::signInFailed);
  EXPECT_EQ(mapped(generalError(-3, AnyError(NSError("Another", 1)))), Case::signInFailed);
  EXPECT_EQ(mapped(generalError(-3, "text")), Case::signInFailed);
  EXPECT_EQ(mapped(NSError("org.openid.appauth.general", -3)), Case::signInFailed);
  EXPECT_EQ(mapped(NSError("Another", -3, {{"NSUnderlyingError", webError(1)}})), Case::signInFailed);
}

TEST(SignInErrorMapping, SignInFailedCarriesTheErrorWhole) {
  const auto error = mapSignInError(NSError("D", 5, {{"NSLocalizedDescription", "x"}, {"k", 1}}));
  EXPECT_EQ(error.underlying()->nsError().userInfo().size(), 2u);
  EXPECT_EQ(error.underlying()->domain(), "D");
  EXPECT_EQ(error.underlying()->code(), 5);
}
