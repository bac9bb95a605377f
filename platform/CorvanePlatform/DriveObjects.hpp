#pragma once

#include <Corvane/Date.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
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

/// One file of a list while it is visited. Its texts lie in what the list keeps.
struct GTLRDrive_FileView {
  std::optional<std::string_view> identifier;
  std::optional<std::string_view> mimeType;
  std::optional<std::string_view> name;
  std::optional<std::string_view> size;  // bytes: an int64 as it is written in decimal
  std::optional<bool> shared;
  std::optional<bool> trashed;
  std::optional<Date> createdTime;
  std::optional<Date> modifiedTime;
  std::optional<std::span<const std::string_view>> parents;
  std::optional<std::string_view> iconLink;
  std::optional<std::string_view> webViewLink;
};

/// The files of a list, in the server's order. There is no object for each: a file is read when it is visited, so that
/// whoever makes something of it copies its texts once, to where they are to stay.
///
/// Lifetime: shared; it keeps what the files are read from. Threads: any, at once; it does not change.
class GTLRDrive_Files {
 public:
  using Visitor = std::function<void(const GTLRDrive_FileView& file)>;

  virtual ~GTLRDrive_Files() = default;
  virtual std::size_t size() const = 0;
  /// Calls the visitor with one file after another, each valid during its call. Files may be visited repeatedly.
  /// Errors: std::bad_alloc, and whatever the visitor throws; no more files are visited then.
  virtual void forEach(const Visitor& visit) const = 0;
};

struct GTLRDrive_FileList {
  std::shared_ptr<const GTLRDrive_Files> files;  // null when absent
  std::optional<std::string> nextPageToken;
};

/// A response object; `std::monostate` when there is none, as after a delete.
using GTLRObject = std::variant<std::monostate, GTLRDrive_About, GTLRDrive_FileList, GTLRDrive_File>;

}  // namespace corvane
