#pragma once

#include <Corvane/ExceptionErrors.hpp>
#include <Corvane/GoogleDriveAPIType.hpp>
#include <Corvane/GoogleDriveAccountProviderType.hpp>
#include <Corvane/GoogleDriveAuthorizationNFRTrackerType.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderType.hpp>

#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

/// What the factory hands out when the platform cannot be made: out of memory, threads or
/// descriptors.
///
/// A late object stands for the real one. Each of its operations tries to make the real one, and
/// fails with the platform's error while that fails. Once it is made, it does all the work. Any
/// thread.
namespace corvane {

template <class Object>
class Late {
 public:
  using Make = std::function<std::shared_ptr<Object>()>;

  explicit Late(Make make) : make_(std::move(make)) {}

  /// Errors: what keeps the object from being made, as an AnyError.
  std::shared_ptr<Object> object() {
    const std::lock_guard guard(lock_);
    try {
      if (!object_) object_ = make_();
    } catch (const std::exception& exception) {
      throw errorOfException(exception);
    }
    return object_;
  }

 private:
  std::mutex lock_;
  const Make make_;
  std::shared_ptr<Object> object_;
};

class LateAuthorizationProvider final : public GoogleDriveAuthorizationProviderType {
 public:
  LateAuthorizationProvider(Late<GoogleDriveAuthorizationProviderType>::Make make,
                            std::shared_ptr<GoogleDriveAuthorizationNFRTrackerType> nfrTracker);

  AnyPublisher<GoogleDriveAccountModel, GoogleDriveAuthorizationProviderError> signIn() override;
  AnyPublisher<Void> signOut(GoogleDriveAccountModel account) override;

 private:
  std::shared_ptr<Late<GoogleDriveAuthorizationProviderType>> provider_;
  std::shared_ptr<GoogleDriveAuthorizationNFRTrackerType> nfrTracker_;
};

class LateAccountProvider final : public GoogleDriveAccountProviderType {
 public:
  explicit LateAccountProvider(Late<GoogleDriveAccountProviderType>::Make make);

  AnyPublisher<std::vector<GoogleDriveAccountModel>> getAccounts() override;

 private:
  std::shared_ptr<Late<GoogleDriveAccountProviderType>> provider_;
};

class LateGoogleDriveAPI final : public GoogleDriveAPIType {
 public:
  LateGoogleDriveAPI(Late<GoogleDriveAPIType>::Make make, GoogleDriveAccountModel account);

  AnyPublisher<About> getAbout() override;
  AnyPublisher<FilesPage> getFilesPage(std::optional<std::string> pageToken) override;
  AnyPublisher<Void> deleteFile(std::string fileId) override;
  AnyPublisher<Void> moveToTrash(std::string fileId) override;

 private:
  std::shared_ptr<Late<GoogleDriveAPIType>> api_;
  GoogleDriveAccountModel account_;
};

}  // namespace corvane
