#include "SignInGrant.hpp"

#include "IDToken.hpp"
#include "SignInErrors.hpp"

#include <algorithm>
#include <utility>

namespace corvane {

Result<OAuthGrant, NSError> acceptTokens(TokenResponse response, const AuthorizationRequest& request,
                                         const std::string& issuer, std::chrono::sys_seconds now) {
  using Accepted = Result<OAuthGrant, NSError>;
  auto idToken = readIDToken(response.idToken, {request.clientID, issuer, request.nonce, now});
  if (!idToken) return Accepted::failure(std::move(idToken).error());

  auto scopes =
      response.scopes ? *std::move(response.scopes) : splitScopes("openid email " + std::string(driveScope));
  if (std::find(scopes.begin(), scopes.end(), driveScope) == scopes.end())
    return Accepted::failure(missingScopesError());
  if (response.refreshToken.empty()) return Accepted::failure(noRefreshTokenError());
  OAuthGrant grant;
  grant.clientID = request.clientID;
  grant.accessToken = std::move(response.accessToken);
  grant.accessTokenExpiry = now + response.lifetime;
  grant.refreshToken = std::move(response.refreshToken);
  grant.scopes = std::move(scopes);
  grant.email = idToken.value().email;
  grant.subject = idToken.value().subject;
  return Accepted::success(std::move(grant));
}

}  // namespace corvane
