#pragma once

#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>
#include <Corvane/NSError.hpp>

#include <optional>

namespace corvane {

/// Sorts the many ways a sign-in can fail into the few that a host tells apart.
GoogleDriveAuthorizationProviderError mapSignInError(const std::optional<NSError>& error);

}  // namespace corvane
