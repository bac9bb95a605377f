#pragma once

#include <CorvaneEmulator/Emulator.hpp>
#include <CorvanePlatform/AuthSession.hpp>
#include <asio/AsioQueues.hpp>
#include <curl/CurlNetwork.hpp>
#include <drive/RESTDriveService.hpp>
#include <simdjson/SIMDJSONDriveParser.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/DriveFiles.hpp"

namespace corvane::test {

inline constexpr const char* ada = "ada@example.com";

/// A signed-in session at the emulator, which takes a new token when one is refused.
class EmulatedSession final : public AuthSession {
 public:
  explicit EmulatedSession(emulator::Emulator& google)
      : google_(google), token_(google.issueSession(ada).accessToken) {}

  std::optional<std::string> userEmail() const override { return ada; }

  AnyCancellable accessToken(std::optional<Secret> rejected, TokenHandler handler) override {
    std::optional<Secret> token;
    {
      const std::lock_guard lock(mutex_);
      if (rejected && *rejected == token_) {
        token_ = Secret(google_.issueSession(ada).accessToken);
        ++refreshes_;
      }
      token = token_;
    }
    handler(Result<Secret, NSError>::success(*token));
    return {};
  }

  std::string token() const {
    const std::lock_guard lock(mutex_);
    return std::string(token_.reveal());
  }

  int refreshes() const {
    const std::lock_guard lock(mutex_);
    return refreshes_;
  }

 private:
  emulator::Emulator& google_;
  mutable std::mutex mutex_;
  Secret token_;
  int refreshes_ = 0;
};

/// What became of one request; waits for it.
class Delivery {
 public:
  struct Outcome {
    GTLRObject object;
    std::optional<NSError> error;
  };

  GTLRDriveService::CompletionHandler handler(std::shared_ptr<Delivery> self) {
    std::shared_ptr<void> released(nullptr, [self](void*) { self->note([&] { self->released_ = true; }); });
    return [self, released](const auto&, GTLRObject object, std::optional<NSError> error) {
      self->note([&] { self->outcome_ = Outcome{std::move(object), std::move(error)}; });
    };
  }

  /// The outcome, once the handler has been released; nothing when it was released uncalled.
  std::optional<Outcome> outcome() {
    std::unique_lock lock(mutex_);
    const bool ended = changed_.wait_for(lock, std::chrono::seconds(30), [this] { return released_; });
    EXPECT_TRUE(ended) << "the request did not end";
    return outcome_;
  }

  bool isReleased() const {
    const std::lock_guard lock(mutex_);
    return released_;
  }

 private:
  template <class Change>
  void note(Change change) {
    const std::lock_guard lock(mutex_);
    change();
    changed_.notify_all();
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool released_ = false;
  std::optional<Outcome> outcome_;
};

/// Ada's Drive service against an emulator of its own; a fault left over fails the test.
class DriveFixture : public testing::Test {
 protected:
  DriveFixture() {
    google.start();
    session = std::make_shared<EmulatedSession>(google);
    service = makeService();
  }
  ~DriveFixture() override {
    EXPECT_TRUE(google.faults().empty()) << google.faults().description();
    google.faults().releaseHeld();
  }

  std::shared_ptr<RESTDriveService> makeService() {
    auto made =
        std::make_shared<RESTDriveService>(network->makeClient(), std::make_shared<SIMDJSONDriveParser>(),
                                           queues.userInitiated, google.baseURL() + "/drive/v3/");
    made->setAuthorizer(session);
    return made;
  }

  std::shared_ptr<Delivery> begin(GTLRDriveQuery query) {
    auto delivery = std::make_shared<Delivery>();
    ticket = service->executeQuery(std::move(query), delivery->handler(delivery));
    return delivery;
  }

  Delivery::Outcome run(GTLRDriveQuery query) {
    auto outcome = begin(std::move(query))->outcome();
    EXPECT_TRUE(outcome) << "the handler was released uncalled";
    return outcome ? *std::move(outcome) : Delivery::Outcome{};
  }

  static GTLRDriveQuery aboutQuery() {
    GTLRDriveQuery_AboutGet query;
    query.fields =
        "storageQuota(limit,usage,usageInDrive),appInstalled,maxUploadSize,user(displayName,emailAddress,"
        "photoLink)";
    return query;
  }
  static GTLRDriveQuery listQuery(std::optional<std::string> pageToken = {}, std::int64_t pageSize = 500) {
    GTLRDriveQuery_FilesList query;
    query.fields =
        "files(id,mimeType,name,size,shared,trashed,createdTime,modifiedTime,parents,iconLink,webViewLink),"
        "nextPageToken";
    query.q = "'me' in owners and trashed = false";
    query.pageToken = std::move(pageToken);
    query.pageSize = pageSize;
    query.corpora = "user";
    return query;
  }
  static GTLRDriveQuery deleteQuery(std::string fileID) {
    return GTLRDriveQuery_FilesDelete::queryWithFileId(std::move(fileID));
  }
  static GTLRDriveQuery trashQuery(std::string fileID) {
    GTLRDrive_File file;
    file.trashed = true;
    auto query =
        GTLRDriveQuery_FilesUpdate::queryWithObject(std::move(file), std::move(fileID), std::nullopt);
    query.supportsAllDrives = true;
    return query;
  }

  /// The id of one of Ada's own files.
  std::string anyFileID() {
    const auto outcome = run(listQuery({}, 10));
    const auto* list = std::get_if<GTLRDrive_FileList>(&outcome.object);
    const auto files = list ? filesOf(*list) : std::vector<GTLRDrive_File>();
    return files.empty() ? std::string() : files.front().identifier.value_or("");
  }

  emulator::Emulator google{{.accounts = {{.email = ada, .files = 1203}}}};
  LinuxQueues queues = makeLinuxQueues();
  std::shared_ptr<CurlNetwork> network = std::make_shared<CurlNetwork>(
      CurlNetwork::Options{HTTPLimits{}, "", "Corvane/test (gzip)", queues.userInitiated});
  std::shared_ptr<EmulatedSession> session;
  std::shared_ptr<RESTDriveService> service;
  std::shared_ptr<GTLRServiceTicket> ticket;
};

/// Matches an outcome that is an error of this domain and code.
MATCHER_P2(FailedWith, domain, code, "") {
  if (!arg.error) {
    *result_listener << "which is no error";
    return false;
  }
  *result_listener << "[" << arg.error->domain() << " " << arg.error->code() << "] "
                   << arg.error->localizedDescription();
  return arg.error->domain() == domain && arg.error->code() == code && arg.object.index() == 0;
}

}  // namespace corvane::test
