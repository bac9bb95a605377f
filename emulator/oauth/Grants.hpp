#pragma once

#include <CorvaneEmulator/Options.hpp>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/Times.hpp"

namespace corvane::emulator {

using Scopes = std::vector<std::string>;

/// What a user agreed to, before the code is exchanged.
struct Consented {
  std::string email;
  Scopes scopes;
  std::string redirectURI;
  std::string codeChallenge;
  std::string nonce;
};

/// The result of an exchange or a refresh.
struct IssuedTokens {
  std::string email;
  Scopes scopes;
  std::string accessToken;
  std::string refreshToken;  ///< empty after a refresh that rotates none
  std::string nonce;
  Instant expires;
};

/// Why the token endpoint refuses (RFC 6749 section 5.2).
struct OAuthError {
  int status = 400;
  std::string error;
  std::string description;
};

/// Who may do what: codes, access tokens, refresh tokens and the grants behind them. Any thread.
class Grants {
 public:
  struct Access {
    std::string email;
    Scopes scopes;
  };

  explicit Grants(const Options& options)
      : clock_(options.clock), lifetime_(options.tokenLifetime), rotates_(options.rotateRefreshTokens) {}

  std::string issueCode(Consented consented);
  /// A code works once, whether or not the exchange succeeds; a second use ends its grant
  /// (RFC 6749 section 4.1.2). Throws OAuthError.
  IssuedTokens exchange(const std::string& code, std::string_view redirectURI, std::string_view verifier);
  /// Throws OAuthError.
  IssuedTokens refresh(const std::string& refreshToken);
  IssuedTokens issueSession(std::string email, Scopes scopes);

  std::optional<Access> access(std::string_view accessToken) const;
  /// Either token ends the whole grant. False for a token that is unknown or dead.
  bool revoke(const std::string& token);
  void expireAccessTokens();
  void revokeAll();

  /// All that was given out, and all verifiers shown.
  std::vector<std::string> secrets() const;

 private:
  struct Grant {
    std::string email;
    Scopes scopes;
    std::string nonce;
    bool alive = true;
  };
  struct Code {
    Consented consented;
    Instant expires;
    bool used = false;
    std::shared_ptr<Grant> grant = {};
  };
  struct AccessToken {
    std::shared_ptr<Grant> grant;
    Instant expires;
  };

  IssuedTokens issue(const std::shared_ptr<Grant>& grant, bool withRefreshToken);

  Clock clock_;
  std::chrono::seconds lifetime_;
  bool rotates_;
  mutable std::mutex mutex_;
  std::vector<std::string> secrets_;
  std::map<std::string, Code, std::less<>> codes_;
  std::map<std::string, AccessToken, std::less<>> accessTokens_;
  std::map<std::string, std::shared_ptr<Grant>, std::less<>> refreshTokens_;
};

}  // namespace corvane::emulator
