#include <Corvane/GoogleDriveAPI.hpp>
#include <Corvane/GoogleDriveAPIError.hpp>
#include <CorvanePlatform/Retry.hpp>

#include "GoogleAccountsStoreType.hpp"
#include "GoogleDriveAPI/CorvaneProvider.hpp"
#include "GoogleDriveAPI/DriveOperations.hpp"
#include "GoogleDriveAPI/GoogleDriveAPIRequestError.hpp"
#include "GoogleDriveAPI/RetryPolicy.hpp"
#include "Publishers/MadeOrFailing.hpp"
#include "Publishers/MapError.hpp"

#include <utility>

namespace corvane {

namespace {

CorvaneProvider::MakeService defaultBuilder(std::string userEmail,
                                            std::shared_ptr<GoogleAccountsStoreType> store,
                                            DriveServiceMaker makeDriveService) {
  return [userEmail = std::move(userEmail), store = std::move(store),
          makeDriveService = std::move(makeDriveService)] {
    auto service = makeDriveService();
    service->setAuthorizer(store->retrieveAuthSession(userEmail));
    return service;
  };
}

template <class Value>
AnyPublisher<Value> onceOnly(const DriveOperationPointer<Value>& request,
                             const std::shared_ptr<CorvaneProvider>& provider,
                             const std::shared_ptr<Queue>& callbackQueue) {
  return deferred<Value>([request, provider, callbackQueue] {
    return drive::attempt(request, std::make_shared<ProviderHold>(provider), callbackQueue);
  });
}

template <class Value>
AnyPublisher<Value> retried(const DriveOperationPointer<Value>& request,
                            const std::shared_ptr<CorvaneProvider>& provider,
                            const std::shared_ptr<Queue>& callbackQueue) {
  return deferred<Value>([request, provider, callbackQueue] {
    auto hold = std::make_shared<ProviderHold>(provider);
    return retry(drive::attempt(request, hold, callbackQueue), driveRetryBehavior, callbackQueue,
                 [hold](const AnyError& error) { return !hold->isGone() && isRetryable(error); });
  });
}

AnyError nameAccountAndPage(AnyError error, const std::string& accountEmail,
                            const std::optional<std::string>& pageToken) {
  if (error.holds<GoogleDriveAPIError>()) return error;
  return GoogleDriveAPIRequestError{accountEmail, pageToken, std::move(error)};
}

}  // namespace

GoogleDriveAPI::GoogleDriveAPI(GoogleDriveAccountModel account,
                               std::shared_ptr<GoogleAccountsStoreType> tokenStorage, Platform platform,
                               std::function<std::shared_ptr<GTLRDriveService>()> makeService)
    : callbackQueue_(std::move(platform.userInitiatedQueue)),
      account_(std::move(account)),
      serviceProvider_(std::make_shared<CorvaneProvider>(
          makeService ? std::move(makeService)
                      : defaultBuilder(account_.userEmail(), std::move(tokenStorage),
                                       std::move(platform.makeDriveService)))),
      log_(std::move(platform.log)) {}

AnyPublisher<About> GoogleDriveAPI::getAbout() {
  return madeOrFailing<About, AnyError>(
      [&] { return retried(aboutOperation(DriveLog(log_)), serviceProvider_, callbackQueue_); });
}

AnyPublisher<FilesPage> GoogleDriveAPI::getFilesPage(std::optional<std::string> pageToken) {
  return madeOrFailing<FilesPage, AnyError>([&] {
    auto page =
        retried(filesPageOperation(DriveLog(log_), pageToken), serviceProvider_, callbackQueue_);
    return mapError(std::move(page), [email = account_.userEmail(),
                                      pageToken = std::move(pageToken)](AnyError error) {
      return nameAccountAndPage(std::move(error), email, pageToken);
    });
  });
}

AnyPublisher<Void> GoogleDriveAPI::deleteFile(std::string fileId) {
  return madeOrFailing<Void, AnyError>([&] {
    return onceOnly(deleteOperation(std::move(fileId)), serviceProvider_, callbackQueue_);
  });
}

AnyPublisher<Void> GoogleDriveAPI::moveToTrash(std::string fileId) {
  return madeOrFailing<Void, AnyError>([&] {
    return onceOnly(trashOperation(std::move(fileId)), serviceProvider_, callbackQueue_);
  });
}

}  // namespace corvane
