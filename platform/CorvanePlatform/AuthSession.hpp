#pragma once

#include <Corvane/AnyCancellable.hpp>
#include <Corvane/Date.hpp>
#include <Corvane/NSError.hpp>
#include <Corvane/Result.hpp>
#include <Corvane/Secret.hpp>
#include <Corvane/UniqueFunction.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// The OAuth state of one signed-in account. The module stores it and installs it as a service's authorizer;
/// it never looks inside, but for the e-mail address.
///
/// Lifetime: shared; whoever waits for a token keeps the session alive.
/// Threads: any.
class AuthSession {
 public:
  using TokenHandler = UniqueFunction<void(Result<Secret, NSError>)>;

  virtual ~AuthSession() = default;

  /// The signed-in user's e-mail address, or nothing when the sign-in did not tell it.
  virtual std::optional<std::string> userEmail() const = 0;

  /// The scopes that the user granted, as Google named them; empty when that is not known.
  virtual std::vector<std::string> grantedScopes() const { return {}; }

  /// When the access token at hand runs out, after which the next request refreshes it; nothing when that is not known.
  virtual std::optional<Date> accessTokenExpiry() const { return std::nullopt; }

  /// Asks for a token to sign a request with, refreshing it first when it is about to expire. However many
  /// ask at once, one refresh is made. `rejected` is a token that the server refused: as long as the session
  /// still holds that very token, it is refreshed whatever its age.
  ///
  /// The handler is called once: here if a good token is at hand, else on a pool thread. Cancelling
  /// drops it uncalled and disturbs no one else who waits. Dropped otherwise, it fails the request.
  /// Errors: domain "org.openid.appauth.oauth_token" when the token endpoint refuses (its `invalid_grant`
  /// means that the user has to sign in again), `NSURLErrorDomain` for what went wrong on the way. The
  /// session stays usable.
  [[nodiscard]] virtual AnyCancellable accessToken(std::optional<Secret> rejected, TokenHandler handler) = 0;
};

}  // namespace corvane
