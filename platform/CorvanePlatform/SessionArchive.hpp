#pragma once

#include <Corvane/Data.hpp>
#include <CorvanePlatform/AuthSession.hpp>

#include <cstdint>
#include <memory>
#include <string_view>

namespace corvane {

/// Error domain of sessions that cannot be archived or read back.
inline constexpr std::string_view sessionArchiveErrorDomain = "Corvane.SessionArchive";
/// The code, in that domain, of a SessionServerMismatchError. The others are the platform's own.
inline constexpr std::int64_t sessionServerMismatchCode = 4;

/// Turns a session into bytes for the keychain and back. The bytes hold secrets.
///
/// Threads: any.
/// Errors: both throw an AnyError that says what is wrong with the session or the bytes, without showing
/// them, in the domain above; an unknown version is such an error. For a session of another Google
/// than the configured one it is a SessionServerMismatchError: never hand such a session out.
class SessionArchive {
 public:
  virtual ~SessionArchive() = default;
  virtual Data encode(const AuthSession& session) const = 0;
  virtual std::shared_ptr<AuthSession> decode(const Data& archive) const = 0;
};

}  // namespace corvane
