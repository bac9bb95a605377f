#pragma once

#include <string_view>

namespace corvane {

/// A response of Drive's that could not be turned into a record. In the order of their codes; comparable and
/// hashable.
enum class GoogleDriveAPIError {
  /// Declared for an account without an access token; no operation raises it.
  emptyAccessToken,
  /// Declared for a missing Drive service; no operation raises it.
  emptyService,
  /// about.get returned no about resource, or one that lacks a required part.
  convertAbout,
  /// files.list returned no file list, or one without its files.
  convertFilesList,
};

constexpr std::string_view errorTypeName(const GoogleDriveAPIError&) {
  return "Corvane.GoogleDriveAPIError";
}

}  // namespace corvane
