#pragma once

#include <Corvane/GoogleDriveAccountModel.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>
#include <Corvane/Subscriber.hpp>
#include <CorvanePlatform/Lumark.hpp>
#include <CorvanePlatform/SignInService.hpp>

#include "../GoogleAccountsStoreType.hpp"

#include <memory>
#include <optional>
#include <utility>

namespace corvane {

/// What happens when a sign-in service is done: saves the session and answers the subscriber. It holds these
/// two and not the provider, so that a sign-in ends well although the provider is gone.
class SignInHandler {
 public:
  using SignInSubscriber = Subscriber<GoogleDriveAccountModel, GoogleDriveAuthorizationProviderError>;

  SignInHandler(std::shared_ptr<GoogleAccountsStoreType> tokenStorage, SignInSubscriber subscriber,
                std::shared_ptr<Lumark> log)
      : tokenStorage_(std::move(tokenStorage)), subscriber_(std::move(subscriber)), log_(std::move(log)) {}

  void operator()(const std::shared_ptr<AuthSession>& session, const std::optional<NSError>& error) const;

  /// Ends a sign-in that the platform could not start or go on with.
  void fail(const AnyError& error) const;

 private:
  void save(const AuthSession& session, const std::string& userEmail) const;
  void end(const std::optional<NSError>& error) const;

  std::shared_ptr<GoogleAccountsStoreType> tokenStorage_;
  SignInSubscriber subscriber_;
  std::shared_ptr<Lumark> log_;
};

}  // namespace corvane
