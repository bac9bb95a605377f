#include "IDToken.hpp"

#include "Base64URL.hpp"
#include "ConstantTime.hpp"
#include "OAuthErrors.hpp"
#include "SecretObject.hpp"

#include <algorithm>
#include <optional>
#include <utility>

namespace corvane {

namespace {

// Clocks of users' machines are often a few minutes off.
constexpr std::chrono::seconds clockTolerance{300};
// OpenID Connect Core 2: `sub` must not exceed 255 ASCII characters.
constexpr std::size_t longestSubject = 255;

std::optional<SecretObject> payload(std::string_view token) {
  const auto first = token.find('.');
  if (first == std::string_view::npos) return std::nullopt;
  const auto second = token.find('.', first + 1);
  if (second == std::string_view::npos || token.find('.', second + 1) != std::string_view::npos)
    return std::nullopt;
  const auto header = decodeBase64URL(token.substr(0, first));
  const auto claims = decodeBase64URL(token.substr(first + 1, second - first - 1));
  if (!header || !claims || !parseSecretObject(textView(*header))) return std::nullopt;
  return parseSecretObject(textView(*claims));
}

// OpenID Connect Core 3.1.3.7: the audience must name us (point 3), and the authorized party must
// be us wherever the token names one (point 5).
bool isForClient(const SecretObject& claims, std::string_view clientID) {
  const auto* party = findMember<SecretString>(claims, "azp");
  if (claims.contains("azp") && !(party && *party == clientID)) return false;
  if (const auto* audience = findMember<SecretString>(claims, "aud")) return *audience == clientID;
  const auto* audiences = findMember<SecretTexts>(claims, "aud");
  if (!audiences) return false;
  const bool isNamed = std::any_of(audiences->begin(), audiences->end(),
                                   [clientID](const auto& entry) { return entry && *entry == clientID; });
  return isNamed && (audiences->size() == 1 || party);  // several need a party (point 4)
}

// Google documents both forms, with and without the scheme.
bool isIssuer(std::string_view claimed, std::string_view issuer) {
  constexpr std::string_view scheme = "https://";
  return claimed == issuer ||
         (issuer.substr(0, scheme.size()) == scheme && claimed == issuer.substr(scheme.size()));
}

std::optional<std::string> objection(const SecretObject& claims, const IDTokenExpectation& expected) {
  if (!isForClient(claims, expected.clientID)) return "it was issued to another program";
  if (!isIssuer(textMember(claims, "iss").value_or(""), expected.issuer))
    return "it comes from another issuer";
  const auto* expiry = findMember<SecretNumber>(claims, "exp");
  if (!expiry) return "it has no expiry";
  const auto earliest = (expected.now - clockTolerance).time_since_epoch();
  if (!(expiry->value > static_cast<double>(earliest.count())))
    return "it has expired; check the clock of this computer";
  const auto nonce = secretMember(claims, "nonce");
  if (!nonce || !equalInConstantTime(nonce->reveal(), expected.nonce.reveal()))
    return "it belongs to another sign-in";
  const auto subject = textMember(claims, "sub");
  if (!subject || subject->empty() || subject->size() > longestSubject) return "it names no account";
  return std::nullopt;
}

// An account is shown and stored by its address, so one with control characters counts as absent.
std::string cleanEmail(const SecretObject& claims) {
  auto email = textMember(claims, "email").value_or("");
  const bool isClean =
      std::none_of(email.begin(), email.end(), [](char c) { return (c >= 0 && c < 0x20) || c == 0x7F; });
  return isClean ? std::move(email) : std::string();
}

}  // namespace

Result<IDToken, NSError> readIDToken(const Secret& token, const IDTokenExpectation& expected) {
  using Read = Result<IDToken, NSError>;
  const auto claims = payload(token.reveal());
  if (!claims)
    return Read::failure(
        describedError(oauthGeneralErrorDomain, oauthIDTokenUnreadableCode,
                       "The sign-in's id_token is missing or cannot be read. Sign in again."));
  if (const auto reason = objection(*claims, expected))
    return Read::failure(describedError(oauthGeneralErrorDomain, oauthIDTokenRefusedCode,
                                        "The sign-in's id_token is not acceptable: " + *reason + "."));
  return Read::success({textMember(*claims, "sub").value_or(""), cleanEmail(*claims)});
}

}  // namespace corvane
