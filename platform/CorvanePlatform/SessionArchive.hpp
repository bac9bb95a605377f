#pragma once

#include <Corvane/Data.hpp>
#include <CorvanePlatform/AuthSession.hpp>

#include <memory>

namespace corvane {

/// Turns a session into bytes for the keychain and back. The bytes hold secrets.
///
/// Threads: any. Errors: both throw an AnyError that says what is wrong with the session or the bytes,
/// without showing them; an archive of an unknown version is such an error.
class SessionArchive {
 public:
  virtual ~SessionArchive() = default;
  virtual Data encode(const AuthSession& session) const = 0;
  virtual std::shared_ptr<AuthSession> decode(const Data& archive) const = 0;
};

}  // namespace corvane
