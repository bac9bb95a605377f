#include "JSONSessionArchive.hpp"

#include "OAuthErrors.hpp"
#include "OAuthSession.hpp"
#include "SecretJSON.hpp"
#include "ServerAddress.hpp"

#include <Corvane/AnyError.hpp>
#include <CorvanePlatform/SessionServerMismatchError.hpp>
#include <CorvanePlatform/URL.hpp>

#include <algorithm>
#include <utility>

namespace corvane {

namespace {

constexpr std::int64_t currentVersion = 1;

AnyError archiveError(std::int64_t code, std::string text) {
  return AnyError(describedError(sessionArchiveErrorDomain, code, std::move(text)));
}

AnyError damaged(std::string_view what) {
  return archiveError(sessionArchiveDamagedCode, "The stored session is damaged: " + std::string(what) +
                                                     ". Sign out and in again to replace it.");
}

SecretString inJSON(std::string_view text) {
  return SecretJSON(SecretString(text)).dump(-1, ' ', false, SecretJSON::error_handler_t::replace);
}

SecretString list(const std::vector<std::string>& texts) {
  SecretString list = "[";
  for (const auto& text : texts) {
    if (list.size() > 1) list += ',';
    list += inJSON(text);
  }
  return list += ']';
}

/// An object's text, member by member.
class ObjectText {
 public:
  void add(std::string_view name, std::string_view value) {
    text_ += text_.empty() ? '{' : ',';
    text_.append(inJSON(name)).append(":").append(value);
  }
  void add(std::string_view name, std::int64_t value) { add(name, std::to_string(value)); }
  Data finished() && { return dataFromText(text_ += '}'); }

 private:
  SecretString text_;
};

void checkVersion(const SecretObject& object) {
  const auto* version = findMember<SecretNumber>(object, "version");
  if (!version || !version->integer) throw damaged("its version is missing");
  if (*version->integer > currentVersion)
    throw archiveError(
        sessionArchiveNewerVersionCode,
        "The stored session was written by a newer version of this program. Update the program, or "
        "sign out and in again to replace it.");
  if (*version->integer != currentVersion) throw damaged("its version is unknown");
}

std::string requiredText(const SecretObject& object, std::string_view name) {
  auto value = textMember(object, name);
  if (!value || value->empty()) throw damaged(std::string(name) + " is missing");
  return *std::move(value);
}

std::string requiredURL(const SecretObject& object, std::string_view name) {
  auto value = requiredText(object, name);
  if (!URL::parse(value)) throw damaged(std::string(name) + " is not a URL");
  return value;
}

Secret requiredSecret(const SecretObject& object, std::string_view name) {
  auto value = secretMember(object, name);
  if (!value || value->empty()) throw damaged(std::string(name) + " is missing");
  return *std::move(value);
}

std::chrono::sys_seconds requiredTime(const SecretObject& object, std::string_view name) {
  const auto* value = findMember<SecretNumber>(object, name);
  // Four-digit years keep every later sum within its type.
  constexpr std::int64_t limit = 253'402'300'800;
  if (!value || !value->integer || *value->integer < -limit || *value->integer > limit)
    throw damaged(std::string(name) + " is not a time");
  return std::chrono::sys_seconds{std::chrono::seconds{*value->integer}};
}

std::vector<std::string> requiredTexts(const SecretObject& object, std::string_view name) {
  const auto* values = findMember<SecretTexts>(object, name);
  if (!values) throw damaged(std::string(name) + " is not a list");
  std::vector<std::string> texts;
  for (const auto& value : *values) {
    if (!value) throw damaged(std::string(name) + " is not a list of texts");
    texts.emplace_back(*value);
  }
  return texts;
}

void requireServer(const std::string& ofSession, const std::string& configured) {
  if (normalizedAddress(ofSession) == normalizedAddress(configured)) return;
  auto [ofSessionShown, configuredShown] = shownApart(ofSession, configured);
  throw AnyError(SessionServerMismatchError(std::move(ofSessionShown), std::move(configuredShown)));
}

}  // namespace

JSONSessionArchive::JSONSessionArchive(std::shared_ptr<HTTPClient> http,
                                       std::shared_ptr<Queue> pool, Clock clock,
                                       GoogleEndpoints google)
    : http_(std::move(http)),
      pool_(std::move(pool)),
      clock_(std::move(clock)),
      google_(std::move(google)) {}

Data JSONSessionArchive::encode(const AuthSession& session) const {
  const auto* known = dynamic_cast<const OAuthSession*>(&session);
  if (!known)
    throw archiveError(sessionArchiveForeignSessionCode,
                       "Only sessions made by this platform can be stored.");
  const OAuthGrant grant = known->grant();
  ObjectText object;
  object.add("version", currentVersion);
  object.add("clientID", inJSON(grant.clientID));
  object.add("clientSecret", inJSON(grant.clientSecret.reveal()));
  object.add("tokenEndpoint", inJSON(grant.tokenEndpoint));
  object.add("driveAddress", inJSON(grant.driveAddress));
  object.add("accessToken", inJSON(grant.accessToken.reveal()));
  object.add("accessTokenExpiry", std::int64_t{grant.accessTokenExpiry.time_since_epoch().count()});
  object.add("refreshToken", inJSON(grant.refreshToken.reveal()));
  object.add("scopes", list(grant.scopes));
  object.add("email", inJSON(grant.email));
  object.add("subject", inJSON(grant.subject));
  return std::move(object).finished();
}

std::shared_ptr<AuthSession> JSONSessionArchive::decode(const Data& archive) const {
  const auto object = parseSecretObject(textView(archive));
  if (!object) throw damaged("it is not a JSON object");
  checkVersion(*object);
  OAuthGrant grant;
  grant.clientID = requiredText(*object, "clientID");
  grant.clientSecret = secretMember(*object, "clientSecret").value_or(Secret());
  grant.tokenEndpoint = requiredURL(*object, "tokenEndpoint");
  grant.driveAddress = object->contains("driveAddress") ? requiredURL(*object, "driveAddress")
                                                        : GoogleEndpoints().drive;
  grant.accessToken = requiredSecret(*object, "accessToken");
  grant.accessTokenExpiry = requiredTime(*object, "accessTokenExpiry");
  grant.refreshToken = requiredSecret(*object, "refreshToken");
  grant.scopes = requiredTexts(*object, "scopes");
  grant.email = textMember(*object, "email").value_or("");
  grant.subject = textMember(*object, "subject").value_or("");
  // Last, so that a damaged archive is told as such.
  requireServer(grant.tokenEndpoint, google_.token);
  requireServer(grant.driveAddress, google_.drive);
  return std::make_shared<OAuthSession>(std::move(grant), http_, pool_, clock_);
}

}  // namespace corvane
