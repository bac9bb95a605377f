#pragma once

#include <Corvane/AnyError.hpp>
#include <CorvanePlatform/Keychain.hpp>

#include <optional>

namespace corvane {

/// What an error means to a host's user.
enum class ErrorKind {
  notSignedIn,          // no session, or Google no longer accepts it: sign in (again)
  cancelled,            // the user or the host gave up
  temporary,            // may work later: the network, a busy server, a rate limit
  permission,           // Google or the user said no
  notFound,             // there is no such file, or none that this account may see
  keychainLocked,       // the keychain is locked, or its user was not there to unlock it
  keychainUnavailable,  // the keychain cannot be reached or read
  invalidResponse,      // the server's answer makes no sense
  other,
};

/// Sorts any error of the module's, looking through wrappers.
ErrorKind errorKind(const AnyError& error);

/// The keychain's Security status, if the error comes from the keychain.
std::optional<OSStatus> keychainStatus(const AnyError& error);

}  // namespace corvane
