#pragma once

#include "Clock.hpp"
#include "HTTPClient.hpp"
#include "LoopbackListener.hpp"

#include <CorvaneLinux/GoogleEndpoints.hpp>
#include <CorvaneLinux/Presenter.hpp>
#include <CorvanePlatform/Queue.hpp>
#include <CorvanePlatform/SignInService.hpp>
#include <CorvanePlatform/URL.hpp>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

namespace corvane {

class SignInAttempt;

/// What every sign-in of a platform works with.
struct SignInEnvironment {
  GoogleEndpoints google;
  /// The account that the page suggests; empty for none.
  std::string loginHint;
  std::shared_ptr<Presenter> presenter;
  std::shared_ptr<HTTPClient> http;
  std::shared_ptr<Queue> pool;
  Clock clock = systemInstant;
  LoopbackLimits limits = {};
  /// Fails the sign-in when another account than `loginHint` is chosen.
  bool onlyThisAccount = false;
  /// Until the browser has come back; zero for no limit.
  std::chrono::milliseconds timeout{0};
};

/// Signs in with the system's browser, as RFC 8252 wants it for native apps: authorization code with
/// PKCE, and a redirect to a loopback port that is open for this sign-in only. The presenter gets an address on
/// that port which leads to the sign-in page once (OneUseAddress.hpp).
///
/// Lifetime: dropping it cancels.
/// Threads: the presenter is called on the thread that calls `runSignIn`, once the port is open; the
/// handler on a pool thread, once the port is closed and the browser has been told how it ended (on the thread
/// at hand when the pool cannot start one). One thread serves the port meanwhile.
/// Cancellation: `cancel` ends port, exchange and presentation at once, from any thread, and releases
/// the handler. A second `runSignIn` cancels the first.
/// Errors, as the handler gets them:
///   "TessoraService" -2 when the Drive scope was not granted, -100 for no refresh token, -101 for no port,
///   -102 for an answer of another issuer, -103 when the one-use address was opened twice, -104 for another
///   account than the only one wanted, -105 when the time was up;
///   "org.openid.appauth.oauth_authorization" when the sign-in page said no, with what it said under
///   `oauthErrorResponseKey` (codes as in OAuthErrors.hpp);
///   "org.openid.appauth.general" -3 when the presenter says that the user dismissed it, -14 and -15 for a
///   bad id_token; ENOMEM in "NSPOSIXErrorDomain" when memory has run out; and the token endpoint's
///   (TokenEndpoint.hpp).
/// A browser that cannot be opened is none: the presenter shows the URL, and waiting goes on. Nor is a tab that
/// the user closes, which no program is told of: only `timeout` ends such a wait.
class BrowserSignInService final : public QVTessoraService {
 public:
  BrowserSignInService(QVTessoraCredentials credentials, URL successURL, SignInEnvironment environment);
  ~BrowserSignInService() override;

  void runSignIn(const WindowHandle& window, Handler handler) override;
  void cancel() override;

 private:
  const QVTessoraCredentials credentials_;
  const URL successURL_;
  const SignInEnvironment environment_;
  std::mutex mutex_;
  std::shared_ptr<SignInAttempt> attempt_;
};

}  // namespace corvane
