#include <Corvane/GoogleDriveAPIError.hpp>

#include "Conversions.hpp"
#include "DriveOperations.hpp"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace corvane {

namespace {

class AboutOperation final : public DriveOperation<About> {
 public:
  explicit AboutOperation(DriveLog log) : log_(std::move(log)) {}

  void serviceUnavailable(const AnyError& error) const override {
    log_.error([&error] { return "failed to build Drive service for about.get: " + logDescription(error); });
  }

  GTLRDriveQuery makeQuery() const override {
    auto query = GTLRDriveQuery_AboutGet::query();
    query.fields = About::apiFields();
    return query;
  }

  void starting() const override {
    log_.extended([] { return "about.get request started"; });
  }

  void failed(const AnyError& error) const override {
    log_.error([&error] {
      const NSError bridged = error.nsError();
      return "about.get failed (domain=" + bridged.domain() + ", code=" + std::to_string(bridged.code()) +
             "): " + logDescription(error);
    });
  }

  Result<About, AnyError> convert(GTLRObject object) const override {
    std::optional<About> about;
    if (auto* resource = std::get_if<GTLRDrive_About>(&object)) about = convertAbout(std::move(*resource));
    if (!about) {
      log_.error([] { return "about.get returned an unconvertible or empty result"; });
      return Result<About, AnyError>::failure(GoogleDriveAPIError::convertAbout);
    }
    log_.extended([&about] {
      return "about.get succeeded (limit=" + std::to_string(about->storageQuota.limit) +
             ", usageInDrive=" + std::to_string(about->storageQuota.usageInDrive) + ")";
    });
    return Result<About, AnyError>::success(*std::move(about));
  }

 private:
  const DriveLog log_;
};

}  // namespace

DriveOperationPointer<About> aboutOperation(DriveLog log) {
  return std::make_shared<const AboutOperation>(std::move(log));
}

}  // namespace corvane
