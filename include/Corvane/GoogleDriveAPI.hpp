#pragma once

#include <Corvane/GoogleDriveAPIType.hpp>
#include <Corvane/GoogleDriveAccountModel.hpp>
#include <CorvanePlatform/Platform.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace corvane {

class CorvaneProvider;
class GoogleAccountsStoreType;

/// Google Drive as one account sees it; see `GoogleDriveAPIType` for what its operations promise. Hosts get
/// it from the factory.
class GoogleDriveAPI final : public GoogleDriveAPIType {
 public:
  /// Builds its Drive service on first use, from the session that the store holds for the account, or with
  /// `makeService` if there is one.
  GoogleDriveAPI(GoogleDriveAccountModel account, std::shared_ptr<GoogleAccountsStoreType> tokenStorage,
                 Platform platform, std::function<std::shared_ptr<GTLRDriveService>()> makeService = {});

  GoogleDriveAPI(const GoogleDriveAPI&) = delete;
  GoogleDriveAPI& operator=(const GoogleDriveAPI&) = delete;

  AnyPublisher<About> getAbout() override;
  AnyPublisher<FilesPage> getFilesPage(std::optional<std::string> pageToken) override;
  AnyPublisher<Void> deleteFile(std::string fileId) override;
  AnyPublisher<Void> moveToTrash(std::string fileId) override;

 private:
  std::shared_ptr<Queue> callbackQueue_;
  GoogleDriveAccountModel account_;
  std::shared_ptr<CorvaneProvider> serviceProvider_;
  std::shared_ptr<Lumark> log_;
};

}  // namespace corvane
