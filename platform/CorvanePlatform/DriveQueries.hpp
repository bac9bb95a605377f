#pragma once

#include <CorvanePlatform/DriveObjects.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace corvane {

/// about.get. An empty `fields` sends none; likewise below.
struct GTLRDriveQuery_AboutGet {
  static GTLRDriveQuery_AboutGet query() { return {}; }
  std::string fields;
};

/// files.list.
struct GTLRDriveQuery_FilesList {
  static GTLRDriveQuery_FilesList query() { return {}; }
  std::string fields;
  std::string q;
  std::optional<std::string> pageToken;
  std::optional<std::int64_t> pageSize;
  std::string corpora;
};

/// files.delete.
struct GTLRDriveQuery_FilesDelete {
  static GTLRDriveQuery_FilesDelete queryWithFileId(std::string fileId) { return {std::move(fileId)}; }
  std::string fileId;
};

/// Content to go with an update; the module never sends any.
struct GTLRUploadParameters {
  std::string mimeType;
  std::string content;
};

/// files.update. The members that are present in `object` are the request's body.
struct GTLRDriveQuery_FilesUpdate {
  static GTLRDriveQuery_FilesUpdate queryWithObject(GTLRDrive_File object, std::string fileId,
                                                    std::optional<GTLRUploadParameters> uploadParameters) {
    return {std::move(object), std::move(fileId), std::move(uploadParameters), std::nullopt};
  }
  GTLRDrive_File object;
  std::string fileId;
  std::optional<GTLRUploadParameters> uploadParameters;
  std::optional<bool> supportsAllDrives;
};

using GTLRDriveQuery = std::variant<GTLRDriveQuery_AboutGet, GTLRDriveQuery_FilesList,
                                    GTLRDriveQuery_FilesDelete, GTLRDriveQuery_FilesUpdate>;

}  // namespace corvane
