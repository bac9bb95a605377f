#include "DriveOperations.hpp"

#include <utility>

namespace corvane {

namespace {

DriveRequest<Void> writeRequest(std::function<GTLRDriveQuery()> makeQuery) {
  DriveRequest<Void> request;
  request.makeQuery = std::move(makeQuery);
  request.convert = [](const GTLRObject&) { return Result<Void, AnyError>::success(Void{}); };
  return request;
}

}  // namespace

// Asks for no shared-drive support, as trashing does: what cannot be taken back stays within the user's own
// Drive.
DriveRequest<Void> deleteRequest(std::string fileId) {
  return writeRequest(
      [fileId = std::move(fileId)] { return GTLRDriveQuery_FilesDelete::queryWithFileId(fileId); });
}

DriveRequest<Void> trashRequest(std::string fileId) {
  return writeRequest([fileId = std::move(fileId)] {
    GTLRDrive_File file;
    file.trashed = true;
    auto query = GTLRDriveQuery_FilesUpdate::queryWithObject(std::move(file), fileId, std::nullopt);
    query.supportsAllDrives = true;
    return query;
  });
}

}  // namespace corvane
