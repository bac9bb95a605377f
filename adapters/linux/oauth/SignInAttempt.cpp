#include "SignInAttempt.hpp"

#include "OAuthSession.hpp"
#include "PoolPost.hpp"
#include "RandomText.hpp"
#include "SignInErrors.hpp"
#include "SignInGrant.hpp"
#include "SignInPages.hpp"

#include <Corvane/AnyError.hpp>

#include <algorithm>
#include <exception>
#include <new>
#include <utility>
#include <variant>

namespace corvane {

namespace {

SignInPage pageFor(const std::optional<NSError>& error) {
  if (!error || error->domain() != signInServiceErrorDomain) return SignInPage::failed;
  if (error->code() == signInMissingScopesCode) return SignInPage::accessMissing;
  return error->code() == signInOtherAccountCode ? SignInPage::otherAccount : SignInPage::failed;
}

// E-mail addresses are compared as Google shows them, but for the case of ASCII letters, which people do not
// type alike. Gmail's dots count: without them an address is found to be another one, and only the user knows.
bool isSameAddress(std::string_view left, std::string_view right) {
  const auto lowered = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [lowered](char a, char b) { return lowered(a) == lowered(b); });
}

}  // namespace

SignInAttempt::SignInAttempt(const QVTessoraCredentials& credentials, const URL& successURL,
                             const SignInEnvironment& environment, QVTessoraService::Handler handler)
    : credentials_(credentials),
      successURL_(successURL),
      environment_(environment),
      endpoint_(environment.http, environment.pool, environment.google.token),
      outOfMemory_(signInMemoryError()),
      handler_(std::move(handler)) {}

void SignInAttempt::open() {
  delivery_ = std::make_shared<Block>([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->callHandler();
  });
  whenClosed_ = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->deliver();
  };
  try {
    openListener();
  } catch (const AnyError& error) {
    failure_ = error.nsError();
  } catch (const std::bad_alloc&) {
    failure_ = outOfMemory_;
  } catch (const std::exception& error) {  // no descriptor or no thread to be had
    failure_ = listenerError(error.what());
  }
}

void SignInAttempt::openListener() {
  auto limits = environment_.limits;
  limits.lifetime = environment_.timeout;
  listener_ = std::make_unique<LoopbackListener>(limits);
  // An unguessable path keeps other programs and pages from even finding the place to send forged answers to.
  const std::string path = "/" + std::string(randomText(16).reveal());
  request_.emplace(credentials_.clientID(), "http://" + listener_->host() + path, environment_.loginHint);
  expected_ = ExpectedCallback{listener_->host(), path, request_->state, environment_.google.issuer};
  page_ = request_->url(environment_.google.authorization);
  address_.emplace(listener_->host());
  LoopbackTroubles troubles;
  troubles.isExhausted = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->memoryRanOut();
  };
  troubles.timeIsUp = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->timedOut();
  };
  listener_->start(
      [weak = weak_from_this()](const LoopbackRequest& request) -> std::optional<std::string> {
        const auto self = weak.lock();
        return self ? self->answer(request) : pageReply(SignInPage::badRequest);
      },
      std::move(troubles));
}

void SignInAttempt::present(const WindowHandle& window) {
  if (failure_) {
    if (!end()) return;
    outcome_.error = failure_;
    deliver();
    return;
  }
  if (isOver()) return;
  const SignInLink link{address_->url(), page_};
  presentation_.set(environment_.presenter->presentLink(link, window, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->dismissed();
  }));
}

std::optional<std::string> SignInAttempt::answer(const LoopbackRequest& request) {
  const auto visit =
      address_->judge(request.head, [&request] { return isStranger(request.ends); });
  if (visit != OneUseAddress::Visit::elsewhere) return answerVisit(visit);
  auto callback = readCallback(request.head, *expected_);
  if (const auto* stray = std::get_if<StrayRequest>(&callback)) return pageReply(stray->page);
  return hold(std::move(callback));
}

std::optional<std::string> SignInAttempt::answerVisit(OneUseAddress::Visit visit) {
  switch (visit) {
    case OneUseAddress::Visit::welcome:
      return redirectReply(page_, address_->cookieHeader());
    case OneUseAddress::Visit::ahead:
      return pageReply(SignInPage::ahead);
    case OneUseAddress::Visit::stranger:
      return pageReply(SignInPage::stranger);
    case OneUseAddress::Visit::second:
      break;
    default:
      return pageReply(SignInPage::methodNotAllowed);
  }
  // Also while a code is exchanged: it may be the code of whoever came first.
  auto reply = pageReply(SignInPage::openedTwice);
  Outcome outcome{nullptr, openedTwiceError()};
  if (!end()) return reply;
  exchange_.cancel();
  conclude(std::move(reply), std::move(outcome));
  return std::nullopt;
}

// The state counts once: the first callback moves the phase on, a replay finds it gone.
std::optional<std::string> SignInAttempt::hold(Callback callback) {
  if (const auto* code = std::get_if<CallbackCode>(&callback)) {
    if (!moveOn(Phase::waiting, Phase::exchanging)) return pageReply(SignInPage::badRequest);
    exchange(code->code);
    return std::nullopt;
  }
  const auto* refusal = std::get_if<CallbackRefusal>(&callback);
  auto reply = refusal ? pageReply(refusalNamed(refusal->error)) : pageReply(SignInPage::failed);
  Outcome outcome{
      nullptr, refusal ? refusalError(*refusal, {request_->state, request_->nonce}) : foreignIssuerError()};
  if (!moveOn(Phase::waiting, Phase::over)) return pageReply(SignInPage::badRequest);
  conclude(std::move(reply), std::move(outcome));
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
void SignInAttempt::exchanged(Result<TokenResponse, NSError> result) noexcept {
  try {
    auto outcome = judge(std::move(result));
    const bool isUsable = outcome.session && outcome.session->userEmail();
    auto reply = isUsable ? redirectReply(successURL_.absoluteString()) : pageReply(pageFor(outcome.error));
    if (moveOn(Phase::exchanging, Phase::over)) conclude(std::move(reply), std::move(outcome));
  } catch (const std::bad_alloc&) {
    memoryRanOut();
  }
}

SignInAttempt::Outcome SignInAttempt::judge(Result<TokenResponse, NSError> result) const {
  if (!result) return {nullptr, result.error()};
  auto accepted = acceptTokens(std::move(result).value(), *request_, environment_.google.issuer,
                               environment_.clock().wall);
  if (!accepted) return {nullptr, accepted.error()};
  OAuthGrant grant = std::move(accepted).value();
  if (!isWanted(grant.email)) return {nullptr, otherAccountError(environment_.loginHint, grant.email)};
  grant.clientSecret = credentials_.clientSecret();
  grant.tokenEndpoint = endpoint_.url();
  grant.driveAddress = environment_.google.drive;
  return {std::make_shared<OAuthSession>(std::move(grant), environment_.http, environment_.pool,
                                         environment_.clock),
          std::nullopt};
}

// A session without an address is no account's, and fails as such.
bool SignInAttempt::isWanted(const std::string& email) const {
  return !environment_.onlyThisAccount || email.empty() || isSameAddress(email, environment_.loginHint);
}

void SignInAttempt::dismissed() noexcept {
  try {
    auto reply = pageReply(SignInPage::dismissed);
    Outcome outcome{nullptr, dismissedError()};
    if (!end()) return;
    exchange_.cancel();
    conclude(std::move(reply), std::move(outcome));
  } catch (const std::bad_alloc&) {
    memoryRanOut();
  }
}

// The user has done their part once the code is here; the exchange has limits of its own.
void SignInAttempt::timedOut() {
  Outcome outcome{nullptr, timedOutError(environment_.timeout)};
  if (moveOn(Phase::waiting, Phase::over)) conclude({}, std::move(outcome));
}

void SignInAttempt::memoryRanOut() noexcept {
  if (!end()) return;
  exchange_.cancel();
  conclude({}, {nullptr, outOfMemory_});
}

void SignInAttempt::conclude(std::string reply, Outcome outcome) noexcept {
  exchange_.close();
  presentation_.cancel();
  outcome_ = std::move(outcome);
  listener_->finish(std::move(reply), std::move(whenClosed_));
}

void SignInAttempt::deliver() noexcept {
  postOrRun(*environment_.pool, delivery_);
}

void SignInAttempt::callHandler() {
  std::unique_lock lock(mutex_);
  const auto handler = std::move(handler_);
  lock.unlock();
  if (handler) handler(std::move(outcome_.session), outcome_.error);  // else cancelled meanwhile
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
