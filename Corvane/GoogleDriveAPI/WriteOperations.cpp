#include "DriveOperations.hpp"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace corvane {

namespace {

class WriteOperation : public DriveOperation<Void> {
 public:
  explicit WriteOperation(std::string fileId) : fileId_(std::move(fileId)) {}

  Result<Void, AnyError> convert(GTLRObject) const final { return Result<Void, AnyError>::success(Void{}); }

 protected:
  const std::string fileId_;
};

// Asks for no shared-drive support, as trashing does: what cannot be taken back stays within the user's own
// Drive.
class DeleteOperation final : public WriteOperation {
 public:
  using WriteOperation::WriteOperation;

  GTLRDriveQuery makeQuery() const override { return GTLRDriveQuery_FilesDelete::queryWithFileId(fileId_); }
};

class TrashOperation final : public WriteOperation {
 public:
  using WriteOperation::WriteOperation;

  GTLRDriveQuery makeQuery() const override {
    GTLRDrive_File file;
    file.trashed = true;
    auto query = GTLRDriveQuery_FilesUpdate::queryWithObject(std::move(file), fileId_, std::nullopt);
    query.supportsAllDrives = true;
    return query;
  }
};

}  // namespace

DriveOperationPointer<Void> deleteOperation(std::string fileId) {
  return std::make_shared<const DeleteOperation>(std::move(fileId));
}

DriveOperationPointer<Void> trashOperation(std::string fileId) {
  return std::make_shared<const TrashOperation>(std::move(fileId));
}

}  // namespace corvane
