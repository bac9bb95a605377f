#include "GoogleDriveAPIRequestError.hpp"

#include <CorvanePlatform/DriveService.hpp>

namespace corvane {

namespace {

void appendIfNotEmpty(std::string& details, const char* label, const std::optional<std::string>& text) {
  if (text && !text->empty()) details += label + *text;
}

std::string detailsOf(const NSError& error) {
  std::string details = "domain=" + error.domain() + ", code=" + std::to_string(error.code()) +
                        ", description=" + error.localizedDescription();
  appendIfNotEmpty(details, ", failureReason=", error.localizedFailureReason());
  appendIfNotEmpty(details, ", recoverySuggestion=", error.localizedRecoverySuggestion());
  const auto structured = error.userInfo().find(std::string(GTLRStructuredErrorKey));
  if (structured != error.userInfo().end())
    details += ", structuredError=" + structured->second.description();
  return details;
}

}  // namespace

UserInfo GoogleDriveAPIRequestError::errorUserInfo() const {
  UserInfo userInfo = underlying.nsError().userInfo();
  userInfo.insert_or_assign(std::string(NSUnderlyingErrorKey), UserInfoValue(underlying));
  userInfo.insert_or_assign(std::string(NSLocalizedDescriptionKey), UserInfoValue(*errorDescription()));
  return userInfo;
}

std::optional<std::string> GoogleDriveAPIRequestError::errorDescription() const {
  return "Google Drive files.list failed. account=" + accountEmail +
         ", pageToken=" + pageToken.value_or("<initial>") + ", " + detailsOf(underlying.nsError());
}

}  // namespace corvane
