#include "OAuthSession.hpp"

#include "FormEncoding.hpp"

#include <Corvane/CancellableSlot.hpp>

#include <algorithm>
#include <utility>

namespace corvane {

// A refresh and those who wait for it, guarded by the session's mutex.
struct OAuthSession::Refresh {
  const std::shared_ptr<CancellableSlot> request = std::make_shared<CancellableSlot>();
  std::map<std::uint64_t, TokenHandler> waiters;
};

namespace {

// A wall clock that was set back must not make an old token look good for years.
std::chrono::seconds remainingLifetime(std::chrono::sys_seconds expiry, std::chrono::sys_seconds now) {
  return std::clamp(expiry - now, std::chrono::seconds{0}, std::chrono::seconds{24 * 3600});
}

}  // namespace

OAuthSession::OAuthSession(OAuthGrant grant, std::shared_ptr<HTTPClient> http, std::shared_ptr<Queue> pool,
                           Clock clock)
    : endpoint_(std::move(http), std::move(pool), grant.tokenEndpoint),
      clock_(std::move(clock)),
      grant_(std::move(grant)) {
  const auto now = clock_();
  expiry_ = now.uptime + remainingLifetime(grant_.accessTokenExpiry, now.wall);
}

std::optional<std::string> OAuthSession::userEmail() const {
  if (grant_.email.empty()) return std::nullopt;  // never changes
  return grant_.email;
}

std::vector<std::string> OAuthSession::grantedScopes() const {
  const std::lock_guard lock(mutex_);
  return grant_.scopes;
}

std::optional<Date> OAuthSession::accessTokenExpiry() const {
  return grant().accessTokenExpiry;
}

OAuthGrant OAuthSession::grant() const {
  const auto now = clock_();
  const std::lock_guard lock(mutex_);
  OAuthGrant grant = grant_;
  grant.accessTokenExpiry = now.wall + std::chrono::floor<std::chrono::seconds>(expiry_ - now.uptime);
  return grant;
}

AnyCancellable OAuthSession::accessToken(std::optional<Secret> rejected, TokenHandler handler) {
  std::unique_lock lock(mutex_);
  if (!refresh_ && isUsable(rejected)) {
    auto token = Token::success(grant_.accessToken);
    lock.unlock();
    handler(std::move(token));
    return {};
  }
  const bool isFirst = !refresh_;
  if (isFirst) refresh_ = std::make_shared<Refresh>();
  const auto refresh = refresh_;
  const auto waiter = ++lastWaiter_;
  refresh->waiters.emplace(waiter, std::move(handler));
  Data form = isFirst ? refreshForm() : Data();
  lock.unlock();

  if (isFirst) start(refresh, std::move(form));
  return AnyCancellable([session = weak_from_this(), joined = std::weak_ptr(refresh), waiter] {
    const auto running = joined.lock();
    if (const auto self = session.lock(); self && running) self->leave(running, waiter);
  });
}

bool OAuthSession::isUsable(const std::optional<Secret>& rejected) const {
  return expiry_ - clock_().uptime >= refreshMargin && !(rejected && *rejected == grant_.accessToken);
}

Data OAuthSession::refreshForm() const {
  FormBody form;
  form.add("grant_type", "refresh_token")
      .add("refresh_token", grant_.refreshToken.reveal())
      .add("client_id", grant_.clientID);
  if (!grant_.clientSecret.empty()) form.add("client_secret", grant_.clientSecret.reveal());
  return form.take();
}

void OAuthSession::start(const std::shared_ptr<Refresh>& refresh, Data form) {
  refresh->request->set(endpoint_.send(
      std::move(form), [self = shared_from_this(), refresh](Result<TokenResponse, NSError> result) {
        self->finish(refresh, std::move(result));
      }));
}

void OAuthSession::finish(const std::shared_ptr<Refresh>& refresh, Result<TokenResponse, NSError> result) {
  refresh->request->close();
  std::unique_lock lock(mutex_);
  if (refresh_ != refresh) return;  // everyone has left
  refresh_ = nullptr;
  const Token token = adopt(std::move(result));
  // One by one, since a handler may cancel another that waits.
  while (!refresh->waiters.empty()) {
    auto waiter = refresh->waiters.extract(refresh->waiters.begin());
    lock.unlock();
    waiter.mapped()(token);
    waiter = {};
    lock.lock();
  }
}

OAuthSession::Token OAuthSession::adopt(Result<TokenResponse, NSError> result) {
  if (!result) return Token::failure(std::move(result).error());
  TokenResponse response = std::move(result).value();
  grant_.accessToken = std::move(response.accessToken);
  expiry_ = clock_().uptime + response.lifetime;
  if (!response.refreshToken.empty()) grant_.refreshToken = std::move(response.refreshToken);
  if (response.scopes) grant_.scopes = *std::move(response.scopes);
  return Token::success(grant_.accessToken);
}

void OAuthSession::leave(const std::shared_ptr<Refresh>& refresh, std::uint64_t waiter) {
  std::unique_lock lock(mutex_);
  const auto left = refresh->waiters.extract(waiter);  // its handler is released after the lock
  const bool wasLast = refresh_ == refresh && refresh->waiters.empty();
  if (wasLast) refresh_ = nullptr;
  lock.unlock();
  if (wasLast) refresh->request->cancel();
}

}  // namespace corvane
