#pragma once

#include <CorvanePlatform/SessionArchive.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// A stored session is for another Google than the one that the platform is configured for, such as
/// an emulator's.
///
/// A session archive throws it. A session's tokens are secrets between the user and the servers
/// that issued them, so the session is not used at all: nothing has been sent to anybody. The
/// session stays stored, and works again with the configuration that it was made with.
///
///     if (const auto mismatch = error.as<SessionServerMismatchError>())
///       show(mismatch->sessionServer());
class SessionServerMismatchError {
 public:
  /// Both as they may be shown: no user information, no query.
  SessionServerMismatchError(std::string sessionServer, std::string configuredServer)
      : sessionServer_(std::move(sessionServer)), configuredServer_(std::move(configuredServer)) {}

  /// The server that the session is for: its host and port, or its address if only the rest of it
  /// differs.
  const std::string& sessionServer() const { return sessionServer_; }
  /// The server that the platform would have used it with, told in the same way.
  const std::string& configuredServer() const { return configuredServer_; }

  static std::string_view errorDomain() { return sessionArchiveErrorDomain; }
  std::int64_t errorCode() const { return sessionServerMismatchCode; }
  std::optional<std::string> errorDescription() const {
    return "Google Drive cannot be reached with the stored session: this session is for " +
           sessionServer_ + ", but this program is set up for " + configuredServer_ + ". " +
           *recoverySuggestion();
  }
  std::optional<std::string> recoverySuggestion() const {
    return "Sign in to " + configuredServer_ + ", or set the program up for " + sessionServer_ +
           " again.";
  }

  bool operator==(const SessionServerMismatchError&) const = default;

 private:
  std::string sessionServer_;
  std::string configuredServer_;
};

}  // namespace corvane
