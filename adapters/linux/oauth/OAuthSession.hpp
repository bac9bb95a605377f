#pragma once

#include "Clock.hpp"
#include "OAuthGrant.hpp"
#include "TokenEndpoint.hpp"

#include <CorvanePlatform/AuthSession.hpp>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// A session that refreshes its access token at the token endpoint.
///
/// The problem: hundreds of requests find the token expired at once, some of them are cancelled while they
/// wait, and a server may refuse a token that looks good. The idea: whoever needs a new token joins the one
/// refresh under way, or starts it; a refresh lives as long as somebody waits for it, and its result goes to
/// all who do. A refresh that was given up is forgotten as a whole, so that a late answer meets nobody. The
/// cost: the last one to cancel throws a refresh away, and the next asks anew.
///
/// New tokens stay in memory: a refresh never writes the keychain, so it cannot bring back an account that is
/// just being signed out.
///
/// Lifetime: shared (make it with std::make_shared); a refresh under way keeps it alive.
/// Threads, cancellation, errors: as AuthSession and TokenEndpoint say. Handlers are called outside any lock.
/// With no memory to start a refresh, those who wait for it are told so on the thread that tried.
class OAuthSession final : public AuthSession, public std::enable_shared_from_this<OAuthSession> {
 public:
  /// A token this close to its expiry has expired, as far as we are concerned: it has to last
  /// through the request.
  static constexpr std::chrono::seconds expiryMargin{60};

  /// The grant's expiry is judged by the wall clock here and now, and by uptime from then on.
  OAuthSession(OAuthGrant grant, std::shared_ptr<HTTPClient> http, std::shared_ptr<Queue> pool, Clock clock);

  std::optional<std::string> userEmail() const override;
  std::vector<std::string> grantedScopes() const override;
  std::optional<Date> accessTokenExpiry() const override;
  [[nodiscard]] AnyCancellable accessToken(std::optional<Secret> rejected, TokenHandler handler) override;

  /// What an archive keeps, as it stands now.
  OAuthGrant grant() const;

 private:
  using Token = Result<Secret, NSError>;
  struct Waiter;
  struct Refresh;

  bool isUsable(const std::optional<Secret>& rejected) const;
  Data refreshForm() const;
  void start(const std::shared_ptr<Refresh>& refresh, Data form) noexcept;
  void finish(const std::shared_ptr<Refresh>& refresh, Result<TokenResponse, NSError> result);
  Token adopt(Result<TokenResponse, NSError> result);
  void leave(const std::shared_ptr<Refresh>& refresh, std::uint64_t waiter);

  const TokenEndpoint endpoint_;
  const Clock clock_;

  mutable std::mutex mutex_;
  OAuthGrant grant_;
  std::chrono::nanoseconds expiry_;  // of the access token, as uptime
  std::uint64_t lastWaiter_ = 0;
  std::shared_ptr<Refresh> refresh_;  // the one under way, or null
};

}  // namespace corvane
