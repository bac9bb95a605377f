#include "LateObjects.hpp"

#include "GoogleDriveAPI/GoogleDriveAPIRequestError.hpp"
#include "Publishers/Deferred.hpp"
#include "Publishers/HandleEvents.hpp"

#include <optional>
#include <string>
#include <utility>

namespace corvane {

using SignInError = GoogleDriveAuthorizationProviderError;
using SignInPublisher = AnyPublisher<GoogleDriveAccountModel, SignInError>;

LateAuthorizationProvider::LateAuthorizationProvider(
    Late<GoogleDriveAuthorizationProviderType>::Make make,
    std::shared_ptr<GoogleDriveAuthorizationNFRTrackerType> nfrTracker)
    : provider_(std::make_shared<Late<GoogleDriveAuthorizationProviderType>>(std::move(make))),
      nfrTracker_(std::move(nfrTracker)) {}

// The real provider measures its sign-ins itself.
SignInPublisher LateAuthorizationProvider::signIn() {
  std::optional<SignInError> failure;
  try {
    return provider_->object()->signIn();
  } catch (const AnyError& error) {
    failure = SignInError::signInFailed(error);
  }
  auto failing = SignInPublisher::failing(*std::move(failure));
  if (!nfrTracker_) return failing;
  [this]() noexcept { nfrTracker_->trackSignInStarted(); }();
  // As with the real provider, nothing is reported once it is gone.
  return handleEvents(std::move(failing), [provider = std::weak_ptr(provider_),
                                           tracker = nfrTracker_](const auto& completion) {
    if (provider.expired()) return;
    tracker->trackSignInFinished(Result<Void, SignInError>::failure(completion.error()));
  });
}

AnyPublisher<Void> LateAuthorizationProvider::signOut(GoogleDriveAccountModel account) {
  return deferred<Void>([provider = provider_, account = std::move(account)] {
    return provider->object()->signOut(account);
  });
}

LateAccountProvider::LateAccountProvider(Late<GoogleDriveAccountProviderType>::Make make)
    : provider_(std::make_shared<Late<GoogleDriveAccountProviderType>>(std::move(make))) {}

AnyPublisher<std::vector<GoogleDriveAccountModel>> LateAccountProvider::getAccounts() {
  try {
    return provider_->object()->getAccounts();  // a read begins with the call
  } catch (const AnyError& error) {
    return AnyPublisher<std::vector<GoogleDriveAccountModel>>::failing(error);
  }
}

LateGoogleDriveAPI::LateGoogleDriveAPI(Late<GoogleDriveAPIType>::Make make,
                                       GoogleDriveAccountModel account)
    : api_(std::make_shared<Late<GoogleDriveAPIType>>(std::move(make))),
      account_(std::move(account)) {}

AnyPublisher<About> LateGoogleDriveAPI::getAbout() {
  return deferred<About>([api = api_] { return api->object()->getAbout(); });
}

AnyPublisher<FilesPage> LateGoogleDriveAPI::getFilesPage(std::optional<std::string> pageToken) {
  return deferred<FilesPage>([api = api_, account = account_, pageToken = std::move(pageToken)] {
    try {
      return api->object()->getFilesPage(pageToken);
    } catch (const AnyError& error) {
      return AnyPublisher<FilesPage>::failing(
          GoogleDriveAPIRequestError{account.userEmail(), pageToken, error});
    }
  });
}

AnyPublisher<Void> LateGoogleDriveAPI::deleteFile(std::string fileId) {
  return deferred<Void>(
      [api = api_, fileId = std::move(fileId)] { return api->object()->deleteFile(fileId); });
}

AnyPublisher<Void> LateGoogleDriveAPI::moveToTrash(std::string fileId) {
  return deferred<Void>(
      [api = api_, fileId = std::move(fileId)] { return api->object()->moveToTrash(fileId); });
}

}  // namespace corvane
