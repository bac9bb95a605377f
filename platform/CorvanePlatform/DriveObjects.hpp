#pragma once

#include <Corvane/Date.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace corvane {

// What Drive answers, member by member. A member that the server left out, or sent as another kind, is
// absent. (Google's reference: developers.google.com/drive/api/reference/rest/v3, resources About, File and
// FileList.)

struct GTLRDrive_About_User {
  std::optional<std::string> displayName;
  std::optional<std::string> emailAddress;
  std::optional<std::string> photoLink;
};

struct GTLRDrive_About_StorageQuota {
  std::optional<std::int64_t> limit;  // bytes, as all of them
  std::optional<std::int64_t> usage;
  std::optional<std::int64_t> usageInDrive;
};

struct GTLRDrive_About {
  std::optional<GTLRDrive_About_User> user;
  std::optional<GTLRDrive_About_StorageQuota> storageQuota;
  std::optional<bool> appInstalled;
  std::optional<std::int64_t> maxUploadSize;  // bytes
};

struct GTLRDrive_File {
  std::optional<std::string> identifier;
  std::optional<std::string> mimeType;
  std::optional<std::string> name;
  std::optional<std::int64_t> size;  // bytes
  std::optional<bool> shared;
  std::optional<bool> trashed;
  std::optional<Date> createdTime;
  std::optional<Date> modifiedTime;
  std::optional<std::vector<std::string>> parents;
  std::optional<std::string> iconLink;
  std::optional<std::string> webViewLink;
};

struct GTLRDrive_FileList {
  std::optional<std::vector<GTLRDrive_File>> files;
  std::optional<std::string> nextPageToken;
};

/// A response object; `std::monostate` when there is none, as after a delete.
using GTLRObject = std::variant<std::monostate, GTLRDrive_About, GTLRDrive_FileList, GTLRDrive_File>;

}  // namespace corvane
