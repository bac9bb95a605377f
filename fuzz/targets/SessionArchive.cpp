#include "Input.hpp"
#include "oauth/JSONSessionArchive.hpp"
#include "oauth/OAuthSession.hpp"

#include <Corvane/AnyError.hpp>
#include <CorvanePlatform/SessionServerMismatchError.hpp>

#include <memory>
#include <string>

// A stored session, as it might stand in a keychain that others wrote to.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  const Instant instant{{}, std::chrono::sys_seconds{std::chrono::seconds{1'700'000'000}}};
  const JSONSessionArchive archive(nullptr, nullptr, [instant] { return instant; }, {});
  try {
    const auto session = archive.decode(dataFromText(fuzz::inputText(bytes, size)));
    const Data document = archive.encode(*session);
    const auto again = archive.decode(document);
    fuzz::require(archive.encode(*again) == document, "a session is kept alike twice");
    fuzz::require(session->userEmail() == again->userEmail(), "a session keeps its account");
    const auto grant = dynamic_cast<const OAuthSession&>(*session).grant();
    fuzz::require(!grant.accessToken.empty() && !grant.refreshToken.empty() && !grant.clientID.empty(),
                  "a session has all that it needs");
  } catch (const AnyError& error) {
    fuzz::require(error.domain() == "Corvane.SessionArchive", "a refusal is the archive's own");
    fuzz::require(error.code() == sessionArchiveDamagedCode ||
                      error.code() == sessionArchiveNewerVersionCode ||
                      error.holds<SessionServerMismatchError>(),
                  "a refusal says damaged, newer or of another server");
    fuzz::require(!error.localizedDescription().empty(), "a refusal says why");
  }
  return 0;
}
