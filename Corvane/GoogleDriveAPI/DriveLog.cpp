#include "DriveLog.hpp"

#include <string>
#include <string_view>

namespace corvane {

namespace {

constexpr LogCategory category("GoogleDriveAPI");
constexpr std::string_view source = "Corvane/GoogleDriveAPI";
constexpr int noContext = 0;
constexpr bool asynchronous = true;

// U+2601 CLOUD with U+FE0F, which asks for its colourful form.
constexpr const char* prefix = "\u2601\uFE0F Google Drive API: ";

}  // namespace

void DriveLog::error(const Lumark::Message& message) const {
  log_->logError(
      category, [&message] { return prefix + message(); }, noContext, asynchronous, source);
}

void DriveLog::warning(const Lumark::Message& message) const {
  log_->logWarning(
      category, [&message] { return prefix + message(); }, noContext, asynchronous, source);
}

void DriveLog::extended(const Lumark::Message& message) const {
  log_->logExtended(
      category, [&message] { return prefix + message(); }, noContext, asynchronous, source);
}

}  // namespace corvane
