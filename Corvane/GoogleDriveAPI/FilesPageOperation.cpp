#include <Corvane/GoogleDriveAPIError.hpp>

#include "Conversions.hpp"
#include "DriveOperations.hpp"
#include "RetryPolicy.hpp"

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

GTLRDriveQuery makeQuery(const std::optional<std::string>& pageToken) {
  auto query = GTLRDriveQuery_FilesList::query();
  query.fields = listFields();
  query.q = ownedFilesQuery;
  query.pageToken = pageToken;
  query.pageSize = filesPerPage;
  query.corpora = "user";
  return query;
}

Result<FilesPage, AnyError> convert(const DriveLog& log, const std::string& label, GTLRObject object) {
  auto* list = std::get_if<GTLRDrive_FileList>(&object);
  if (!list || !list->files) {
    log.error([&label] { return "files.list returned unexpected or empty result (page: " + label + ")"; });
    return Result<FilesPage, AnyError>::failure(GoogleDriveAPIError::convertFilesList);
  }
  const auto raw = list->files->size();
  auto files = convertFiles(*list->files);
  log.extended([&] {
    return "files.list page received (page: " + label + ", raw=" + std::to_string(raw) +
           ", converted=" + std::to_string(files.size()) +
           ", hasNextPage=" + text(list->nextPageToken.has_value()) + ")";
  });
  return Result<FilesPage, AnyError>::success(FilesPage(std::move(files), std::move(list->nextPageToken)));
}

}  // namespace

DriveOperation<FilesPage> filesPageOperation(DriveLog log, std::optional<std::string> pageToken) {
  const std::string label = pageToken ? "next" : "initial";

  DriveOperation<FilesPage> operation;
  operation.serviceUnavailable = [log, label](const AnyError& error) {
    log.error(
        [&] { return "failed to build Drive service (page: " + label + "): " + logDescription(error); });
  };
  operation.makeQuery = [pageToken = std::move(pageToken)] { return makeQuery(pageToken); };
  operation.starting = [log, label] {
    log.extended([&label] { return "files.list request started (page: " + label + ")"; });
  };
  operation.failed = [log, label](const AnyError& error) {
    log.warning([&] {
      const NSError bridged = error.nsError();
      return "files.list attempt failed (page: " + label + ", retryable=" + text(isRetryable(error)) +
             ", domain=" + bridged.domain() + ", code=" + std::to_string(bridged.code()) +
             "): " + logDescription(error);
    });
  };
  operation.convert = [log, label](GTLRObject object) { return convert(log, label, std::move(object)); };
  return operation;
}

}  // namespace corvane
