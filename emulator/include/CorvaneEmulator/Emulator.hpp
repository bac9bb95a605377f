#pragma once

#include <CorvaneEmulator/FaultList.hpp>
#include <CorvaneEmulator/Journal.hpp>
#include <CorvaneEmulator/Options.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::emulator {

inline constexpr std::string_view fullScopes = "openid email https://www.googleapis.com/auth/drive";

/// A signed-in user without any browser.
struct IssuedSession {
  std::string accessToken;
  std::string refreshToken;
  std::chrono::system_clock::time_point expires;
};

/// A local Google: Drive v3 under URL/drive/v3/, OAuth under URL/o/oauth2/v2/auth, URL/token, URL/revoke and
/// URL/userinfo, and a remote control under URL/__emulator__/.
///
/// It serves from `start` to `stop` or its end, on one thread of its own. Every member may be called from
/// any thread; `start`, `stop` and the end must not overlap. Bad options throw std::invalid_argument, a port
/// that cannot be had std::runtime_error.
class Emulator {
 public:
  explicit Emulator(Options options = {});
  ~Emulator();
  Emulator(const Emulator&) = delete;
  Emulator& operator=(const Emulator&) = delete;

  void start();
  void stop();
  /// `http://127.0.0.1:PORT` or `https://…`, without a slash at the end; the port is bound from construction.
  std::string baseURL() const;
  std::uint16_t port() const;
  /// PEM of the authority that signed the server's certificate; empty without TLS.
  std::string authorityPEM() const;

  FaultList& faults();
  Journal& journal();

  IssuedSession issueSession(const std::string& email, std::string_view scopes = fullScopes);
  /// Every access token given out so far is answered 401 from now on; refreshing still works.
  void expireTokens();
  /// Every grant so far is dead: 401 for access tokens, invalid_grant for refresh tokens.
  void revokeAll();
  /// How the authorization page answers from now on; `account` is taken when there is no login hint.
  void setConsent(Consent consent, const std::string& account = {});
  /// Changes the claims of the id_tokens to come, as a JSON merge patch (RFC 7396): `{"nonce": null}` leaves
  /// one out, `{}` ends all changes. Throws std::invalid_argument when it is no JSON object.
  void setIDTokenClaims(std::string_view patch);
  /// Every code, access token and refresh token that was given out so far, and every code verifier that was
  /// shown: what must turn up nowhere else.
  std::vector<std::string> secrets() const;
  /// Closes kept-alive connections that wait for a request.
  void closeIdleConnections();

  /// How many files of the account there are now; both conditions may be left open.
  std::uint64_t fileCount(const std::string& email, bool ownedByMe = false,
                          std::optional<bool> trashed = {}) const;
  /// The id of the account's n-th file, from 0, decoys included.
  std::string fileID(const std::string& email, std::uint64_t index) const;
  /// The `sub` of the account.
  std::string subject(const std::string& email) const;

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::emulator
