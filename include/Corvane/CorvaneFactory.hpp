#pragma once

#include <Corvane/CorvaneFactoryType.hpp>
#include <Corvane/Data.hpp>
#include <CorvanePlatform/Platform.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace corvane {

class GoogleAccountsStoreType;

/// The way in: a host makes one from its configuration and keeps it.
///
/// Lifetime: what it makes stays usable after it is gone.
/// Threads: not synchronized. Use it from one thread until the first `make…` has returned, from any
/// afterwards. While the system's platform cannot be made, keep to the one thread.
/// Errors: none. Bad credentials show when somebody signs in, keychain trouble in the operations
/// that touch it. If the system's platform cannot be made just now, for want of threads or
/// descriptors, the operations fail with that error and work again once it can. Only without memory
/// for the object itself `make…` throws std::bad_alloc.
class CorvaneFactory final : public CorvaneFactoryType {
 public:
  /// Names the window over which a sign-in is presented; asked once per sign-in, on the subscribing thread.
  /// Nothing means that there is no window now, and the sign-in fails.
  using MainAppWindow = std::function<std::optional<WindowHandle>()>;

  /// `credentials` is the OAuth client as JSON with the texts "client_id" and "clientSecret". Sessions are
  /// kept in the system's keychain under `keychainService`, one item per account, in `keychainAccessGroup`.
  /// Nothing is decoded, checked or opened here.
  CorvaneFactory(std::optional<Data> credentials, std::string keychainService,
                 std::string keychainAccessGroup, MainAppWindow mainAppWindow);

  /// The same over a platform of the host's choice.
  CorvaneFactory(std::optional<Data> credentials, std::string keychainService,
                 std::string keychainAccessGroup, MainAppWindow mainAppWindow, Platform platform);

  CorvaneFactory(const CorvaneFactory&) = delete;
  CorvaneFactory& operator=(const CorvaneFactory&) = delete;

  std::shared_ptr<GoogleDriveAuthorizationProviderType> makeAuthorizationProvider(
      std::shared_ptr<GoogleDriveAuthorizationNFRTrackerType> nfrTracker) override;
  std::shared_ptr<GoogleDriveAccountProviderType> makeAccountProvider() override;
  std::shared_ptr<GoogleDriveAPIType> makeAPI(GoogleDriveAccountModel account) override;

 private:
  template <class LateObject, class Make, class... Arguments>
  auto nowOrLater(Make make, Arguments&&... arguments) -> decltype(make(*this));
  const Platform& platform();
  const std::shared_ptr<GoogleAccountsStoreType>& tokenStorage();

  std::optional<Data> credentials_;
  std::shared_ptr<GoogleAccountsStoreType> tokenStorage_;
  std::string keychainService_;
  std::string keychainAccessGroup_;
  MainAppWindow mainAppWindow_;
  std::function<Platform()> makePlatform_;
  std::optional<Platform> platform_;
};

}  // namespace corvane
