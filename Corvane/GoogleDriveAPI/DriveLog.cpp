#include "DriveLog.hpp"

#include <new>
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

std::string line(const Lumark::Message& message) {
  try {
    return prefix + message();
  } catch (const std::bad_alloc&) {
    return "out of memory";  // short enough to need none
  }
}

}  // namespace

void DriveLog::error(const Lumark::Message& message) const noexcept {
  log_->logError(
      category, [&message] { return line(message); }, noContext, asynchronous, source);
}

void DriveLog::warning(const Lumark::Message& message) const noexcept {
  log_->logWarning(
      category, [&message] { return line(message); }, noContext, asynchronous, source);
}

void DriveLog::extended(const Lumark::Message& message) const noexcept {
  log_->logExtended(
      category, [&message] { return line(message); }, noContext, asynchronous, source);
}

}  // namespace corvane
