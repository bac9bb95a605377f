#pragma once

// Everything a host needs.
#include <Corvane/About.hpp>
#include <Corvane/AnyCancellable.hpp>
#include <Corvane/AnyError.hpp>
#include <Corvane/AnyPublisher.hpp>
#include <Corvane/Await.hpp>
#include <Corvane/CorvaneFactory.hpp>
#include <Corvane/CorvaneFactoryType.hpp>
#include <Corvane/ErrorKind.hpp>
#include <Corvane/File.hpp>
#include <Corvane/FilesPage.hpp>
#include <Corvane/Get.hpp>
#include <Corvane/GoogleAccountsStoreError.hpp>
#include <Corvane/GoogleDriveAPI.hpp>
#include <Corvane/GoogleDriveAPIError.hpp>
#include <Corvane/GoogleDriveAPIType.hpp>
#include <Corvane/GoogleDriveAccountModel.hpp>
#include <Corvane/GoogleDriveAccountProviderError.hpp>
#include <Corvane/GoogleDriveAccountProviderType.hpp>
#include <Corvane/GoogleDriveAuthorizationNFRTrackerType.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderType.hpp>
#include <Corvane/StorageQuota.hpp>
#include <Corvane/User.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>
#include <CorvanePlatform/SessionServerMismatchError.hpp>
