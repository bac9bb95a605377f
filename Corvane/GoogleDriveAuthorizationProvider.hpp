#pragma once

#include <Corvane/Data.hpp>
#include <Corvane/GoogleDriveAuthorizationNFRTrackerType.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderType.hpp>
#include <CorvanePlatform/Platform.hpp>

#include "GoogleAccountsStoreType.hpp"

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

/// Signs in through the platform's sign-in service and keeps the sessions in the store. Without state between
/// calls; nothing prevents two sign-ins at once. Must be owned by a shared pointer.
class GoogleDriveAuthorizationProvider final
    : public GoogleDriveAuthorizationProviderType,
      public std::enable_shared_from_this<GoogleDriveAuthorizationProvider> {
 public:
  using MainAppWindow = std::function<std::optional<WindowHandle>()>;
  using SignInPublisher = AnyPublisher<GoogleDriveAccountModel, GoogleDriveAuthorizationProviderError>;

  /// Decodes the credentials; if that fails they are absent, and sign-ins fail.
  GoogleDriveAuthorizationProvider(const std::optional<Data>& credentials,
                                   std::shared_ptr<GoogleAccountsStoreType> tokenStorage,
                                   MainAppWindow mainAppWindow,
                                   std::shared_ptr<GoogleDriveAuthorizationNFRTrackerType> nfrTracker,
                                   const Platform& platform);

  SignInPublisher signIn() override;
  AnyPublisher<Void> signOut(GoogleDriveAccountModel account) override;

 private:
  using SignInSubscriber = Subscriber<GoogleDriveAccountModel, GoogleDriveAuthorizationProviderError>;

  SignInPublisher makeSignIn();
  AnyCancellable startSignIn(const SignInSubscriber& subscriber) const;
  void trackStarted() const noexcept;
  void trackFinished(
      const Completion<GoogleDriveAuthorizationProviderError>& completion) const noexcept;

  std::optional<QVTessoraCredentials> credentials_;
  std::shared_ptr<GoogleAccountsStoreType> tokenStorage_;
  MainAppWindow mainAppWindow_;
  std::shared_ptr<GoogleDriveAuthorizationNFRTrackerType> nfrTracker_;
  URL successURL_;
  SignInServiceMaker makeSignInService_;
  std::shared_ptr<Queue> taskPool_;
  std::shared_ptr<Lumark> log_;
};

}  // namespace corvane
