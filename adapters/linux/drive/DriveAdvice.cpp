#include "DriveAdvice.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace corvane {
namespace {

// Where a project's owner enables the API, when the answer does not say.
constexpr std::string_view consoleLink = "https://console.cloud.google.com/apis/library/drive.googleapis.com";

constexpr std::string_view onlyTheOwner =
    "Only the file’s owner can do this. Ask the owner, or sign in with the owner’s account.";
constexpr std::string_view grantDrive =
    "Sign in again, and leave the box for Google Drive ticked when Google asks.";
constexpr std::string_view askTheAdministrator =
    "The organisation’s Google administrator does not allow this. Ask the administrator to allow this "
    "program "
    "and Google Drive.";
constexpr std::string_view freeStorage =
    "The account’s Google storage is full. Free some of it, or get more, and try again.";
constexpr std::string_view dailyLimit =
    "The program has used up what Google allows its project for now. Try again tomorrow.";

struct Row {
  std::string_view reason;
  std::string_view advice;  // empty: the API is to be enabled
};

constexpr std::array rows{
    Row{"accessNotConfigured", {}},
    Row{"SERVICE_DISABLED", {}},
    Row{"domainPolicy", askTheAdministrator},
    Row{"ORG_RESTRICTION_VIOLATION", askTheAdministrator},
    Row{"insufficientFilePermissions", onlyTheOwner},
    Row{"insufficientParentPermissions", onlyTheOwner},
    Row{"appNotAuthorizedToFile",
        "This program may only use the files that it was given. Sign in again, and allow "
        "the access to all of Google Drive."},
    Row{"insufficientPermissions", grantDrive},
    Row{"ACCESS_TOKEN_SCOPE_INSUFFICIENT", grantDrive},
    Row{"storageQuotaExceeded", freeStorage},
    Row{"quotaExceeded", dailyLimit},
    Row{"dailyLimitExceeded", dailyLimit},
    Row{"dailyLimitExceededUnreg", dailyLimit},
};

const Row* rowFor(std::string_view reason) {
  const auto found =
      std::find_if(rows.begin(), rows.end(), [reason](const Row& row) { return row.reason == reason; });
  return found == rows.end() ? nullptr : &*found;
}

/// A link that leads to Google and cannot pass for anything else.
bool isGoogleLink(std::string_view link) {
  constexpr std::string_view scheme = "https://";
  constexpr std::size_t longest = 500;
  const auto isPlain = [](char c) {
    return c > ' ' && c < 0x7F && c != '"' && c != '<' && c != '>' && c != '\\';
  };
  if (!link.starts_with(scheme) || link.size() > longest || !std::all_of(link.begin(), link.end(), isPlain))
    return false;
  const auto rest = link.substr(scheme.size());
  const auto host = rest.substr(0, rest.find_first_of("/?#"));  // a user or a port makes it another host
  return host == "google.com" || host.ends_with(".google.com");
}

/// "Enable it by visiting LINK then retry." is how Google's message puts it.
std::string_view linkWithin(std::string_view text) {
  const auto begin = text.find("https://");
  if (begin == text.npos) return {};
  const auto link = text.substr(begin);
  return link.substr(0, link.find_first_of(" \t\r\n"));
}

std::string_view linkToEnable(const DriveErrorObject& error) {
  for (const auto& detail : error.details)
    if (isGoogleLink(detail.activationURL)) return detail.activationURL;
  for (const auto& item : error.errors)
    if (isGoogleLink(item.extendedHelp)) return item.extendedHelp;
  const auto link = linkWithin(error.message);
  return isGoogleLink(link) ? link : consoleLink;
}

std::string enableTheAPI(const DriveErrorObject& error) {
  return "The Google Drive API is not enabled for the Google project of this program. Its owner can enable "
         "it at " +
         std::string(linkToEnable(error)) + " and should wait a few minutes before trying again.";
}

template <class Entry>
const Row* firstRow(const std::vector<Entry>& entries) {
  for (const auto& entry : entries)
    if (const Row* row = rowFor(entry.reason)) return row;
  return nullptr;
}

}  // namespace

std::string adviceFor(const DriveErrorObject& error) {
  const Row* row = firstRow(error.errors);
  // The older list says "forbidden" of much that the details know better.
  if (!row) row = firstRow(error.details);
  if (!row) return {};
  return row->advice.empty() ? enableTheAPI(error) : std::string(row->advice);
}

}  // namespace corvane
