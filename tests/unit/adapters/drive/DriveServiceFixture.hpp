#pragma once

#include "ScriptedHTTPClient.hpp"
#include "ScriptedSession.hpp"

#include <Corvane/AnyError.hpp>
#include <drive/RESTDriveService.hpp>
#include <simdjson/SIMDJSONDriveParser.hpp>

#include "support/DriveFiles.hpp"
#include "support/ManualQueue.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace corvane::test {

/// What became of one request.
struct Delivery {
  int calls = 0;
  bool released = false;  // the handler is gone, called or not
  std::shared_ptr<GTLRServiceTicket> ticket;
  GTLRObject object;
  std::optional<NSError> error;

  std::string description() const { return error ? error->localizedDescription() : std::string("no error"); }
};

/// A Drive service on a scripted network, with the real parser, and a queue that runs when the test says so.
class DriveServiceTest : public testing::Test {
 protected:
  using Handler = GTLRDriveService::CompletionHandler;

  DriveServiceTest() { service->setAuthorizer(session); }

  /// A handler that writes down what becomes of it.
  static Handler handlerFor(std::shared_ptr<Delivery> delivery) {
    std::shared_ptr<void> released(nullptr, [delivery](void*) { delivery->released = true; });
    return [delivery, released](const std::shared_ptr<GTLRServiceTicket>& own, GTLRObject object,
                                std::optional<NSError> error) {
      ++delivery->calls;
      delivery->ticket = own;
      delivery->object = std::move(object);
      delivery->error = std::move(error);
    };
  }

  std::shared_ptr<Delivery> execute(GTLRDriveQuery query) {
    auto delivery = std::make_shared<Delivery>();
    ticket = service->executeQuery(std::move(query), handlerFor(delivery));
    return delivery;
  }

  static GTLRDriveQuery aboutQuery() {
    GTLRDriveQuery_AboutGet query;
    query.fields = "user";
    return query;
  }
  static GTLRDriveQuery listQuery() {
    GTLRDriveQuery_FilesList query;
    query.fields = "files(id),nextPageToken";
    return query;
  }
  static GTLRDriveQuery deleteQuery(std::string fileId = "1AbC") {
    return GTLRDriveQuery_FilesDelete::queryWithFileId(std::move(fileId));
  }
  static GTLRDriveQuery trashQuery(std::string fileId = "1AbC") {
    GTLRDrive_File file;
    file.trashed = true;
    auto query =
        GTLRDriveQuery_FilesUpdate::queryWithObject(std::move(file), std::move(fileId), std::nullopt);
    query.supportsAllDrives = true;
    return query;
  }

  std::shared_ptr<ScriptedHTTPClient> client = std::make_shared<ScriptedHTTPClient>();
  std::shared_ptr<ManualQueue> queue = std::make_shared<ManualQueue>();
  std::shared_ptr<ScriptedSession> session = std::make_shared<ScriptedSession>();
  std::shared_ptr<RESTDriveService> service =
      std::make_shared<RESTDriveService>(client, std::make_shared<SIMDJSONDriveParser>(), queue);
  std::shared_ptr<GTLRServiceTicket> ticket;
};

/// Matches a delivery that brought just this error.
MATCHER_P2(BroughtError, domain, code, "") {
  if (arg->calls != 1 || !arg->error) {
    *result_listener << "called " << arg->calls << " times, " << arg->description();
    return false;
  }
  *result_listener << "[" << arg->error->domain() << " " << arg->error->code() << "] " << arg->description();
  return arg->error->domain() == domain && arg->error->code() == code && arg->object.index() == 0;
}

}  // namespace corvane::test
