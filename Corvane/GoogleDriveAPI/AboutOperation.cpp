#include <Corvane/GoogleDriveAPIError.hpp>

#include "Conversions.hpp"
#include "DriveOperations.hpp"

#include <string>
#include <utility>
#include <variant>

namespace corvane {

namespace {

GTLRDriveQuery makeQuery() {
  auto query = GTLRDriveQuery_AboutGet::query();
  query.fields = About::apiFields();
  return query;
}

Result<About, AnyError> convert(const DriveLog& log, GTLRObject object) {
  std::optional<About> about;
  if (auto* resource = std::get_if<GTLRDrive_About>(&object)) about = convertAbout(std::move(*resource));
  if (!about) {
    log.error([] { return "about.get returned an unconvertible or empty result"; });
    return Result<About, AnyError>::failure(GoogleDriveAPIError::convertAbout);
  }
  log.extended([&about] {
    return "about.get succeeded (limit=" + std::to_string(about->storageQuota.limit) +
           ", usageInDrive=" + std::to_string(about->storageQuota.usageInDrive) + ")";
  });
  return Result<About, AnyError>::success(*std::move(about));
}

}  // namespace

DriveOperation<About> aboutOperation(DriveLog log) {
  DriveOperation<About> operation;
  operation.serviceUnavailable = [log](const AnyError& error) {
    log.error([&error] { return "failed to build Drive service for about.get: " + logDescription(error); });
  };
  operation.makeQuery = makeQuery;
  operation.starting = [log] { log.extended([] { return "about.get request started"; }); };
  operation.failed = [log](const AnyError& error) {
    log.error([&error] {
      const NSError bridged = error.nsError();
      return "about.get failed (domain=" + bridged.domain() + ", code=" + std::to_string(bridged.code()) +
             "): " + logDescription(error);
    });
  };
  operation.convert = [log](GTLRObject object) { return convert(log, std::move(object)); };
  return operation;
}

}  // namespace corvane
