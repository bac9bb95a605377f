#include "GoogleDriveAccountProvider.hpp"

#include <Corvane/ExceptionErrors.hpp>
#include <Corvane/GoogleDriveAccountProviderError.hpp>
#include <CorvanePlatform/Text.hpp>

#include "Publishers/Future.hpp"
#include "Publishers/MadeOrFailing.hpp"

#include <exception>
#include <string>
#include <unordered_set>
#include <utility>

namespace corvane {

namespace {

using Accounts = std::vector<GoogleDriveAccountModel>;

Accounts withoutDuplicates(std::vector<std::string> names) {
  const std::unordered_set<std::string, TextHash, TextEqual> distinct(std::make_move_iterator(names.begin()),
                                                                      std::make_move_iterator(names.end()));
  return Accounts(distinct.begin(), distinct.end());
}

Result<Accounts, AnyError> readAccounts(GoogleAccountsStoreType& store) {
  try {
    return Result<Accounts, AnyError>::success(withoutDuplicates(store.storedAccounts()));
  } catch (const std::exception& exception) {
    return Result<Accounts, AnyError>::failure(errorOfException(exception));
  }
}

}  // namespace

GoogleDriveAccountProvider::GoogleDriveAccountProvider(std::shared_ptr<GoogleAccountsStoreType> tokenStorage,
                                                       std::vector<AnyCancellable> cancellables,
                                                       std::shared_ptr<Queue> taskPool)
    : tokenStorage_(std::move(tokenStorage)),
      cancellables_(std::move(cancellables)),
      taskPool_(std::move(taskPool)) {}

AnyPublisher<Accounts> GoogleDriveAccountProvider::getAccounts() {
  return madeOrFailing<Accounts, AnyError>([this] {
    const AnyError emptySelf = GoogleDriveAccountProviderError::emptySelf;
    return future<Accounts, AnyError>(
        emptySelf, [weakSelf = weak_from_this(), &emptySelf](const auto& promise) {
          auto self = weakSelf.lock();
          if (!self) {
            promise.fulfil(Result<Accounts, AnyError>::failure(emptySelf));
            return;
          }
          auto& pool = *self->taskPool_;
          pool.async([self = std::move(self), promise] {
            promise.fulfil(readAccounts(*self->tokenStorage_));
          });
        });
  });
}

}  // namespace corvane
