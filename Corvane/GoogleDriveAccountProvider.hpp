#pragma once

#include <Corvane/AnyCancellable.hpp>
#include <Corvane/GoogleDriveAccountProviderType.hpp>
#include <CorvanePlatform/Queue.hpp>

#include "GoogleAccountsStoreType.hpp"

#include <memory>
#include <vector>

namespace corvane {

/// Lists the accounts of one store. Without state between calls; must be owned by a shared pointer.
class GoogleDriveAccountProvider final : public GoogleDriveAccountProviderType,
                                         public std::enable_shared_from_this<GoogleDriveAccountProvider> {
 public:
  GoogleDriveAccountProvider(std::shared_ptr<GoogleAccountsStoreType> tokenStorage,
                             std::vector<AnyCancellable> cancellables, std::shared_ptr<Queue> taskPool);

  AnyPublisher<std::vector<GoogleDriveAccountModel>> getAccounts() override;

 private:
  std::shared_ptr<GoogleAccountsStoreType> tokenStorage_;
  std::vector<AnyCancellable>
      cancellables_;  // stays empty: each read runs to its end whatever its subscribers do
  std::shared_ptr<Queue> taskPool_;
};

}  // namespace corvane
