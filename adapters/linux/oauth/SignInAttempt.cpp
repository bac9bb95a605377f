#include "SignInAttempt.hpp"

#include "OAuthErrors.hpp"
#include "OAuthSession.hpp"
#include "PoolPost.hpp"
#include "RandomText.hpp"
#include "SignInGrant.hpp"
#include "SignInPages.hpp"

#include <Corvane/AnyError.hpp>

#include <exception>
#include <utility>
#include <variant>

namespace corvane {

namespace {

NSError refusalError(const CallbackRefusal& refusal) {
  std::string text = refusal.error == "access_denied"
                         ? "Access to the account was not granted."
                         : "The sign-in page refused: " + oneLine(refusal.error) + ".";
  return oauthResponseError(oauthAuthorizationErrorDomain, refusal.error, refusal.description,
                            std::move(text));
}

NSError issuerError() {
  return describedError(
      oauthGeneralErrorDomain, oauthIssuerMismatchCode,
      "The sign-in was answered by another server than the one that was asked. Sign in again.");
}

NSError dismissedError() {
  const NSError underlying(webAuthenticationSessionErrorDomain, webAuthenticationCancelledCode);
  return NSError(oauthGeneralErrorDomain, oauthUserCancelledCode,
                 {{std::string(NSUnderlyingErrorKey), AnyError(underlying)},
                  {std::string(NSLocalizedDescriptionKey), "The sign-in was dismissed."}});
}

SignInPage pageFor(const std::optional<NSError>& error) {
  return error && error->domain() == signInServiceErrorDomain ? SignInPage::accessMissing
                                                              : SignInPage::failed;
}

}  // namespace

SignInAttempt::SignInAttempt(const QVTessoraCredentials& credentials, const URL& successURL,
                             const SignInEnvironment& environment, QVTessoraService::Handler handler)
    : credentials_(credentials),
      successURL_(successURL),
      environment_(environment),
      endpoint_(environment.http, environment.pool, environment.google.token),
      handler_(std::move(handler)) {}

void SignInAttempt::open() {
  try {
    openListener();
  } catch (const AnyError& error) {
    failure_ = error.nsError();
  } catch (const std::exception& error) {  // no descriptor or no thread to be had
    failure_ = listenerError(error.what());
  }
}

void SignInAttempt::present(const WindowHandle& window) {
  if (failure_) {
    if (end()) deliver({nullptr, failure_});
    return;
  }
  if (isOver()) return;
  const auto url = request_->url(environment_.google.authorization);
  presentation_.set(environment_.presenter->present(url, window, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->dismissed();
  }));
}

void SignInAttempt::openListener() {
  listener_ = std::make_unique<LoopbackListener>(environment_.limits);
  // An unguessable path keeps other programs and pages from even finding the place to send forged answers to.
  const std::string path = "/" + std::string(randomText(16).reveal());
  request_.emplace(credentials_.clientID(), "http://" + listener_->host() + path, environment_.loginHint);
  expected_ = ExpectedCallback{listener_->host(), path, request_->state, environment_.google.issuer};
  listener_->start([weak = weak_from_this()](std::string_view head) -> std::optional<std::string> {
    const auto self = weak.lock();
    return self ? self->answer(head) : pageReply(SignInPage::badRequest);
  });
}

std::optional<std::string> SignInAttempt::answer(std::string_view head) {
  auto callback = readCallback(head, *expected_);
  if (const auto* stray = std::get_if<StrayRequest>(&callback)) return pageReply(stray->page);
  return hold(std::move(callback));
}

// The state counts once: the first callback moves the phase on, a replay finds it gone.
std::optional<std::string> SignInAttempt::hold(Callback callback) {
  if (const auto* code = std::get_if<CallbackCode>(&callback)) {
    if (!moveOn(Phase::waiting, Phase::exchanging)) return pageReply(SignInPage::badRequest);
    exchange(code->code);
    return std::nullopt;
  }
  if (!moveOn(Phase::waiting, Phase::over)) return pageReply(SignInPage::badRequest);
  if (const auto* refusal = std::get_if<CallbackRefusal>(&callback))
    conclude(pageReply(SignInPage::declined), {nullptr, refusalError(*refusal)});
  else
    conclude(pageReply(SignInPage::failed), {nullptr, issuerError()});
  return std::nullopt;
}

void SignInAttempt::exchange(const Secret& code) {
  exchange_.set(endpoint_.send(request_->exchangeForm(code, credentials_.clientSecret()),
                               [weak = weak_from_this()](Result<TokenResponse, NSError> result) {
                                 if (const auto self = weak.lock()) self->exchanged(std::move(result));
                               }));
}

// Only now is the browser told: a success page must not be shown before the answer has been checked, nor for a
// session that no account can be made of.
void SignInAttempt::exchanged(Result<TokenResponse, NSError> result) {
  auto outcome = judge(std::move(result));
  if (!moveOn(Phase::exchanging, Phase::over)) return;
  const bool isUsable = outcome.session && outcome.session->userEmail();
  auto reply = isUsable ? redirectReply(successURL_) : pageReply(pageFor(outcome.error));
  conclude(std::move(reply), std::move(outcome));
}

SignInAttempt::Outcome SignInAttempt::judge(Result<TokenResponse, NSError> result) const {
  if (!result) return {nullptr, result.error()};
  auto accepted = acceptTokens(std::move(result).value(), *request_, environment_.google.issuer,
                               environment_.clock().wall);
  if (!accepted) return {nullptr, accepted.error()};
  OAuthGrant grant = std::move(accepted).value();
  grant.clientSecret = credentials_.clientSecret();
  grant.tokenEndpoint = endpoint_.url();
  grant.driveAddress = environment_.google.drive;
  return {std::make_shared<OAuthSession>(std::move(grant), environment_.http, environment_.pool,
                                         environment_.clock),
          std::nullopt};
}

void SignInAttempt::dismissed() {
  if (!end()) return;
  exchange_.cancel();
  conclude(pageReply(SignInPage::failed), {nullptr, dismissedError()});
}

void SignInAttempt::conclude(std::string reply, Outcome outcome) {
  exchange_.close();
  presentation_.cancel();
  listener_->finish(std::move(reply), [weak = weak_from_this(), outcome = std::move(outcome)] {
    if (const auto self = weak.lock()) self->deliver(outcome);
  });
}

void SignInAttempt::deliver(Outcome outcome) {
  postOrRun(*environment_.pool, [self = shared_from_this(), outcome = std::move(outcome)] {
    std::unique_lock lock(self->mutex_);
    const auto handler = std::move(self->handler_);
    lock.unlock();
    if (handler) handler(outcome.session, outcome.error);  // else cancelled meanwhile
  });
}

void SignInAttempt::cancel() {
  std::unique_lock lock(mutex_);
  phase_ = Phase::over;
  const auto handler = std::move(handler_);  // released when nothing is locked any more
  lock.unlock();
  exchange_.cancel();
  presentation_.cancel();
  if (listener_) listener_->stop();
}

bool SignInAttempt::moveOn(Phase from, Phase to) {
  const std::lock_guard lock(mutex_);
  if (phase_ != from) return false;
  phase_ = to;
  return true;
}

bool SignInAttempt::isOver() {
  const std::lock_guard lock(mutex_);
  return phase_ == Phase::over;
}

bool SignInAttempt::end() {
  const std::lock_guard lock(mutex_);
  return std::exchange(phase_, Phase::over) != Phase::over;
}

}  // namespace corvane
