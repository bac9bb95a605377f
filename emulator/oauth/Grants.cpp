#include "oauth/Grants.hpp"

#include "text/Digest.hpp"

namespace corvane::emulator {
namespace {

// RFC 6749 section 4.1.2 recommends at most ten minutes.
constexpr std::chrono::minutes codeLifetime{10};
constexpr std::size_t shortestVerifier = 43;  // RFC 7636 section 4.1
constexpr std::size_t longestVerifier = 128;

OAuthError invalidGrant(std::string description) {
  return {400, "invalid_grant", std::move(description)};
}

}  // namespace

std::string Grants::issueCode(Consented consented) {
  const std::lock_guard lock(mutex_);
  auto code = "4/0A" + randomText(48);
  secrets_.push_back(code);
  codes_.emplace(code, Code{.consented = std::move(consented), .expires = clock_() + codeLifetime});
  return code;
}

IssuedTokens Grants::exchange(const std::string& text, std::string_view redirectURI,
                              std::string_view verifier) {
  const std::lock_guard lock(mutex_);
  if (!verifier.empty()) secrets_.emplace_back(verifier);
  const auto found = codes_.find(text);
  if (found == codes_.end()) throw invalidGrant("Malformed auth code.");
  auto& code = found->second;
  if (code.used) {
    if (code.grant) code.grant->alive = false;
    throw invalidGrant("The code has been used before.");
  }
  code.used = true;
  if (code.expires <= clock_()) throw invalidGrant("The code has expired.");
  if (verifier.empty()) throw invalidGrant("Missing code verifier.");
  if (verifier.size() < shortestVerifier || verifier.size() > longestVerifier ||
      s256Challenge(verifier) != code.consented.codeChallenge) {
    throw invalidGrant("Invalid code verifier.");
  }
  if (redirectURI != code.consented.redirectURI)
    throw OAuthError{400, "redirect_uri_mismatch", "Bad Request"};
  code.grant =
      std::make_shared<Grant>(Grant{code.consented.email, code.consented.scopes, code.consented.nonce});
  return issue(code.grant, true);
}

IssuedTokens Grants::refresh(const std::string& refreshToken) {
  const std::lock_guard lock(mutex_);
  const auto found = refreshTokens_.find(refreshToken);
  if (found == refreshTokens_.end() || !found->second->alive) {
    throw invalidGrant("Token has been expired or revoked.");
  }
  const auto grant = found->second;
  if (rotates_) refreshTokens_.erase(found);
  return issue(grant, rotates_);
}

IssuedTokens Grants::issueSession(std::string email, Scopes scopes) {
  const std::lock_guard lock(mutex_);
  return issue(std::make_shared<Grant>(Grant{std::move(email), std::move(scopes), {}}), true);
}

IssuedTokens Grants::issue(const std::shared_ptr<Grant>& grant, bool withRefreshToken) {
  const auto now = clock_();
  std::erase_if(accessTokens_, [now](const auto& entry) { return entry.second.expires <= now; });
  IssuedTokens tokens{.email = grant->email,
                      .scopes = grant->scopes,
                      .accessToken = "ya29." + randomText(120),
                      .refreshToken = withRefreshToken ? "1//0" + randomText(72) : "",
                      .nonce = grant->nonce,
                      .expires = now + lifetime_};
  secrets_.push_back(tokens.accessToken);
  if (withRefreshToken) secrets_.push_back(tokens.refreshToken);
  accessTokens_.emplace(tokens.accessToken, AccessToken{grant, tokens.expires});
  if (withRefreshToken) refreshTokens_.emplace(tokens.refreshToken, grant);
  return tokens;
}

std::optional<Grants::Access> Grants::access(std::string_view accessToken) const {
  const std::lock_guard lock(mutex_);
  const auto found = accessTokens_.find(accessToken);
  if (found == accessTokens_.end()) return std::nullopt;
  const auto& [grant, expires] = found->second;
  if (!grant->alive || expires <= clock_()) return std::nullopt;
  return Access{grant->email, grant->scopes};
}

bool Grants::revoke(const std::string& token) {
  const std::lock_guard lock(mutex_);
  std::shared_ptr<Grant> grant;
  if (const auto access = accessTokens_.find(token); access != accessTokens_.end())
    grant = access->second.grant;
  if (const auto refresh = refreshTokens_.find(token); refresh != refreshTokens_.end())
    grant = refresh->second;
  if (!grant || !grant->alive) return false;
  grant->alive = false;
  return true;
}

void Grants::expireAccessTokens() {
  const std::lock_guard lock(mutex_);
  accessTokens_.clear();
}

void Grants::revokeAll() {
  const std::lock_guard lock(mutex_);
  for (auto& [token, grant] : refreshTokens_) grant->alive = false;
  for (auto& [token, access] : accessTokens_) access.grant->alive = false;
}

std::vector<std::string> Grants::secrets() const {
  const std::lock_guard lock(mutex_);
  return secrets_;
}

}  // namespace corvane::emulator
