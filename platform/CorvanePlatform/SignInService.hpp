#pragma once

#include <Corvane/NSError.hpp>
#include <Corvane/Secret.hpp>
#include <Corvane/UniqueFunction.hpp>
#include <CorvanePlatform/AuthSession.hpp>
#include <CorvanePlatform/URL.hpp>
#include <CorvanePlatform/WindowHandle.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace corvane {

// Error domains and codes by which a sign-in tells how it ended.
inline constexpr std::string_view signInServiceErrorDomain = "TessoraService";
inline constexpr std::int64_t signInMissingScopesCode = -2;
inline constexpr std::int64_t signInNoRefreshTokenCode = -100;
inline constexpr std::int64_t signInNoPortCode = -101;
inline constexpr std::int64_t signInForeignIssuerCode = -102;
inline constexpr std::int64_t signInOpenedTwiceCode = -103;
/// Another account than the one asked for; the two addresses stand under `signInExpectedAccountKey` and
/// `signInChosenAccountKey`.
inline constexpr std::int64_t signInOtherAccountCode = -104;
inline constexpr std::int64_t signInTimedOutCode = -105;
inline constexpr std::string_view signInExpectedAccountKey = "expectedAccount";
inline constexpr std::string_view signInChosenAccountKey = "chosenAccount";
inline constexpr std::string_view oauthAuthorizationErrorDomain = "org.openid.appauth.oauth_authorization";
inline constexpr std::string_view oauthTokenErrorDomain = "org.openid.appauth.oauth_token";
inline constexpr std::string_view oauthGeneralErrorDomain = "org.openid.appauth.general";
inline constexpr std::int64_t oauthUserCancelledCode = -3;
inline constexpr std::string_view oauthErrorResponseKey = "OIDOAuthErrorResponseErrorKey";
inline constexpr std::string_view webAuthenticationSessionErrorDomain =
    "com.apple.AuthenticationServices.WebAuthenticationSession";
inline constexpr std::int64_t webAuthenticationCancelledCode = 1;

/// The OAuth client that the host registered with Google.
class QVTessoraCredentials {
 public:
  QVTessoraCredentials(std::string clientID, Secret clientSecret)
      : clientID_(std::move(clientID)), clientSecret_(std::move(clientSecret)) {}

  const std::string& clientID() const { return clientID_; }
  const Secret& clientSecret() const { return clientSecret_; }

 private:
  std::string clientID_;
  Secret clientSecret_;
};

/// One interactive sign-in.
///
/// Lifetime: shared; whoever wants the result keeps it. Dropping it cancels.
/// Threads: started on the host's main thread, since it presents; the handler is called on a thread of the
/// platform's pool, never on its network thread.
class QVTessoraService {
 public:
  /// Called at most once, with the session or with the error that prevented one.
  using Handler = UniqueFunction<void(std::shared_ptr<AuthSession> session, std::optional<NSError> error)>;

  virtual ~QVTessoraService() = default;

  /// Presents the sign-in over the window and returns at once. It may wait for the user for ever: a user who
  /// closes the page is not always noticed.
  virtual void runSignIn(const WindowHandle& window, Handler handler) = 0;

  /// Abandons a running sign-in at once, from any thread; the handler is released uncalled.
  virtual void cancel() = 0;
};

/// Makes a sign-in service for a client; `successURL` is the page that the browser ends on.
using SignInServiceMaker = std::function<std::shared_ptr<QVTessoraService>(
    const QVTessoraCredentials& credentials, const URL& successURL)>;

}  // namespace corvane
