#include <Corvane/GoogleDriveAPIError.hpp>

#include "Conversions.hpp"
#include "DriveOperations.hpp"
#include "RetryPolicy.hpp"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace corvane {

namespace {

// What the user owns and has not thrown away (Drive API v3, "Search query terms").
constexpr const char* ownedFilesQuery = "'me' in owners and trashed = false";
constexpr int filesPerPage = 500;

const std::string& listFields() {
  // Never destroyed: a worker may read it while the process ends.
  static const auto& fields = *new const std::string("files(" + File::apiFields() + "),nextPageToken");
  return fields;
}

const char* text(bool flag) {
  return flag ? "true" : "false";
}

class FilesPageOperation final : public DriveOperation<FilesPage> {
 public:
  FilesPageOperation(DriveLog log, std::optional<std::string> pageToken)
      : log_(std::move(log)), pageToken_(std::move(pageToken)), label_(pageToken_ ? "next" : "initial") {}

  void serviceUnavailable(const AnyError& error) const override {
    log_.error(
        [&] { return "failed to build Drive service (page: " + label_ + "): " + logDescription(error); });
  }

  GTLRDriveQuery makeQuery() const override {
    auto query = GTLRDriveQuery_FilesList::query();
    query.fields = listFields();
    query.q = ownedFilesQuery;
    query.pageToken = pageToken_;
    query.pageSize = filesPerPage;
    query.corpora = "user";
    return query;
  }

  void starting() const override {
    log_.extended([this] { return "files.list request started (page: " + label_ + ")"; });
  }

  void failed(const AnyError& error) const override {
    log_.warning([&] {
      const NSError bridged = error.nsError();
      return "files.list attempt failed (page: " + label_ + ", retryable=" + text(isRetryable(error)) +
             ", domain=" + bridged.domain() + ", code=" + std::to_string(bridged.code()) +
             "): " + logDescription(error);
    });
  }

  Result<FilesPage, AnyError> convert(GTLRObject object) const override {
    auto* list = std::get_if<GTLRDrive_FileList>(&object);
    if (!list || !list->files) {
      log_.error([this] { return "files.list returned unexpected or empty result (page: " + label_ + ")"; });
      return Result<FilesPage, AnyError>::failure(GoogleDriveAPIError::convertFilesList);
    }
    const auto raw = list->files->size();
    auto files = convertFiles(*list->files);
    log_.extended([&] {
      return "files.list page received (page: " + label_ + ", raw=" + std::to_string(raw) +
             ", converted=" + std::to_string(files.size()) +
             ", hasNextPage=" + text(list->nextPageToken.has_value()) + ")";
    });
    return Result<FilesPage, AnyError>::success(FilesPage(std::move(files), std::move(list->nextPageToken)));
  }

 private:
  const DriveLog log_;
  const std::optional<std::string> pageToken_;
  const std::string label_;
};

}  // namespace

DriveOperationPointer<FilesPage> filesPageOperation(DriveLog log, std::optional<std::string> pageToken) {
  return std::make_shared<const FilesPageOperation>(std::move(log), std::move(pageToken));
}

}  // namespace corvane
