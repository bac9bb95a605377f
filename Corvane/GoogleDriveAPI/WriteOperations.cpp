#include "DriveOperations.hpp"

#include <utility>

namespace corvane {

namespace {

DriveOperation<Void> writeOperation(std::function<GTLRDriveQuery()> makeQuery) {
  DriveOperation<Void> operation;
  operation.makeQuery = std::move(makeQuery);
  operation.convert = [](const GTLRObject&) { return Result<Void, AnyError>::success(Void{}); };
  return operation;
}

}  // namespace

// Asks for no shared-drive support, as trashing does: what cannot be taken back stays within the user's own
// Drive.
DriveOperation<Void> deleteOperation(std::string fileId) {
  return writeOperation(
      [fileId = std::move(fileId)] { return GTLRDriveQuery_FilesDelete::queryWithFileId(fileId); });
}

DriveOperation<Void> trashOperation(std::string fileId) {
  return writeOperation([fileId = std::move(fileId)] {
    GTLRDrive_File file;
    file.trashed = true;
    auto query = GTLRDriveQuery_FilesUpdate::queryWithObject(std::move(file), fileId, std::nullopt);
    query.supportsAllDrives = true;
    return query;
  });
}

}  // namespace corvane
