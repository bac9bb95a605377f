#pragma once

#include "Clock.hpp"
#include "HTTPClient.hpp"

#include <CorvanePlatform/Queue.hpp>
#include <CorvanePlatform/SessionArchive.hpp>

#include <memory>
#include <string_view>

namespace corvane {

inline constexpr std::int64_t sessionArchiveDamagedCode = 1;
inline constexpr std::int64_t sessionArchiveNewerVersionCode = 2;
inline constexpr std::int64_t sessionArchiveForeignSessionCode = 3;

/// Keeps an OAuthSession as one JSON object with a version. It holds the client and the token endpoint too,
/// so that a stored account works without the credentials that it was signed in with.
///
/// Threads: any.
/// Errors: an AnyError of domain "Corvane.SessionArchive" that says what is wrong without quoting the
/// archive.
class JSONSessionArchive final : public SessionArchive {
 public:
  /// What the sessions that it decodes work with.
  JSONSessionArchive(std::shared_ptr<HTTPClient> http, std::shared_ptr<Queue> pool, Clock clock);

  Data encode(const AuthSession& session) const override;
  std::shared_ptr<AuthSession> decode(const Data& archive) const override;

 private:
  std::shared_ptr<HTTPClient> http_;
  std::shared_ptr<Queue> pool_;
  Clock clock_;
};

}  // namespace corvane
