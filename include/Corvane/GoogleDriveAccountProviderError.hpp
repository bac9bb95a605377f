#pragma once

#include <string_view>

namespace corvane {

/// Failures of the account listing itself; the store's own errors pass through it unchanged. In the order of
/// their codes; comparable and hashable.
enum class GoogleDriveAccountProviderError {
  /// The provider was gone when the work was to begin.
  emptySelf,
  /// Declared; no operation raises it.
  emptyAccessToken,
};

constexpr std::string_view errorTypeName(const GoogleDriveAccountProviderError&) {
  return "Corvane.GoogleDriveAccountProviderError";
}

}  // namespace corvane
