#pragma once

#include "Clock.hpp"
#include "HTTPClient.hpp"

#include <CorvaneLinux/GoogleEndpoints.hpp>
#include <CorvanePlatform/Queue.hpp>
#include <CorvanePlatform/SessionArchive.hpp>

#include <memory>
#include <string_view>

namespace corvane {

// Codes in `sessionArchiveErrorDomain`, beside sessionServerMismatchCode.
inline constexpr std::int64_t sessionArchiveDamagedCode = 1;
inline constexpr std::int64_t sessionArchiveNewerVersionCode = 2;
inline constexpr std::int64_t sessionArchiveForeignSessionCode = 3;

/// Keeps an OAuthSession as one JSON object with a version. It holds the client and the token endpoint too,
/// so that a stored account works without the credentials that it was signed in with.
///
/// A session belongs to the Google that issued it: the archive says for which token endpoint and
/// which Drive address the session was made, and `decode` gives it out only where both are
/// configured. An archive without a Drive address was written before there was one in it, and
/// counts as Google's own.
///
/// Threads: any.
/// Errors: an AnyError of domain "Corvane.SessionArchive" that says what is wrong without quoting the
/// archive; a SessionServerMismatchError for a session of other servers.
class JSONSessionArchive final : public SessionArchive {
 public:
  /// What the sessions that it decodes work with, and the Google that they must be for.
  JSONSessionArchive(std::shared_ptr<HTTPClient> http, std::shared_ptr<Queue> pool, Clock clock,
                     GoogleEndpoints google);

  Data encode(const AuthSession& session) const override;
  std::shared_ptr<AuthSession> decode(const Data& archive) const override;

 private:
  std::shared_ptr<HTTPClient> http_;
  std::shared_ptr<Queue> pool_;
  Clock clock_;
  GoogleEndpoints google_;
};

}  // namespace corvane
