#include "OAuthSession.hpp"

#include "FormEncoding.hpp"
#include "OAuthErrors.hpp"

#include <Corvane/CancellableSlot.hpp>

#include <algorithm>
#include <new>
#include <utility>

namespace corvane {

struct OAuthSession::Waiter {
  TokenHandler handler;
  NSError outOfMemory = tokenMemoryError();  // made while there is memory to make it

  void tell(const Token& token) {
    auto own = Token::failure(std::move(outOfMemory));
    try {
      auto copy = token;
      own = std::move(copy);
    } catch (const std::bad_alloc&) {
    }
    handler(std::move(own));
  }
};

// A refresh and those who wait for it, guarded by the session's mutex.
struct OAuthSession::Refresh {
  const std::shared_ptr<CancellableSlot> request = std::make_shared<CancellableSlot>();
  std::map<std::uint64_t, Waiter> waiters;
  // One for each of the two ends that may find no memory.
  NSError notStarted = tokenMemoryError();
  NSError notRead = tokenMemoryError();
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
  // Both outlive the lock: what a failure drops may hold the caller's handler, or call back.
  std::map<std::uint64_t, Waiter> joining;
  AnyCancellable leaving;
  std::unique_lock lock(mutex_);
  if (!refresh_ && isUsable(rejected)) {
    auto token = Token::success(grant_.accessToken);
    lock.unlock();
    handler(std::move(token));
    return {};
  }
  const bool isFirst = !refresh_;
  const auto refresh = isFirst ? std::make_shared<Refresh>() : refresh_;
  Data form = isFirst ? refreshForm() : Data();
  const auto waiter = ++lastWaiter_;
  joining[waiter].handler = std::move(handler);
  leaving = AnyCancellable([session = weak_from_this(), joined = std::weak_ptr(refresh), waiter] {
    const auto running = joined.lock();
    if (const auto self = session.lock(); self && running) self->leave(running, waiter);
  });
  // Nothing can fail any more.
  refresh->waiters.merge(joining);
  refresh_ = refresh;
  lock.unlock();

  if (isFirst) start(refresh, std::move(form));
  return leaving;
}

bool OAuthSession::isUsable(const std::optional<Secret>& rejected) const {
  return expiry_ - clock_().uptime >= expiryMargin &&
         !(rejected && *rejected == grant_.accessToken);
}

Data OAuthSession::refreshForm() const {
  FormBody form;
  form.add("grant_type", "refresh_token")
      .add("refresh_token", grant_.refreshToken.reveal())
      .add("client_id", grant_.clientID);
  if (!grant_.clientSecret.empty()) form.add("client_secret", grant_.clientSecret.reveal());
  return form.take();
}

void OAuthSession::start(const std::shared_ptr<Refresh>& refresh, Data form) noexcept {
  try {
    refresh->request->set(endpoint_.send(
        std::move(form), [self = shared_from_this(), refresh](Result<TokenResponse, NSError> result) {
          self->finish(refresh, std::move(result));
        }));
  } catch (const std::bad_alloc&) {
    finish(refresh, Result<TokenResponse, NSError>::failure(std::move(refresh->notStarted)));
  }
}

void OAuthSession::finish(const std::shared_ptr<Refresh>& refresh, Result<TokenResponse, NSError> result) {
  refresh->request->close();
  std::unique_lock lock(mutex_);
  if (refresh_ != refresh) return;  // everyone has left
  refresh_ = nullptr;
  auto token = Token::failure(std::move(refresh->notRead));
  try {
    token = adopt(std::move(result));
  } catch (const std::bad_alloc&) {
  }
  // One by one, since a handler may cancel another that waits.
  while (!refresh->waiters.empty()) {
    auto waiter = refresh->waiters.extract(refresh->waiters.begin());
    lock.unlock();
    waiter.mapped().tell(token);
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
