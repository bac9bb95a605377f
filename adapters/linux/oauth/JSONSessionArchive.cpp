#include "JSONSessionArchive.hpp"

#include "OAuthErrors.hpp"
#include "OAuthSession.hpp"
#include "SecretJSON.hpp"

#include <Corvane/AnyError.hpp>
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

SecretString text(std::string_view value) {
  return SecretString(value);
}
SecretString text(const Secret& value) {
  return SecretString(value.reveal());
}

void checkVersion(const SecretJSON& object) {
  const auto* version = findMember(object, "version");
  if (!version || !version->is_number_integer()) throw damaged("its version is missing");
  const bool isNewer = version->is_number_unsigned() && version->get<std::uint64_t>() > currentVersion;
  if (isNewer)
    throw archiveError(
        sessionArchiveNewerVersionCode,
        "The stored session was written by a newer version of this program. Update the program, or "
        "sign out and in again to replace it.");
  if (version->get<std::int64_t>() != currentVersion) throw damaged("its version is unknown");
}

std::string requiredText(const SecretJSON& object, std::string_view name) {
  auto value = textMember(object, name);
  if (!value || value->empty()) throw damaged(std::string(name) + " is missing");
  return *std::move(value);
}

Secret requiredSecret(const SecretJSON& object, std::string_view name) {
  auto value = secretMember(object, name);
  if (!value || value->empty()) throw damaged(std::string(name) + " is missing");
  return *std::move(value);
}

std::chrono::sys_seconds requiredTime(const SecretJSON& object, std::string_view name) {
  const auto* value = findMember(object, name);
  // Four-digit years keep every later sum within its type.
  constexpr std::int64_t limit = 253'402'300'800;
  if (!value || !value->is_number_integer() || value->get<std::int64_t>() < -limit ||
      value->get<std::int64_t>() > limit ||
      (value->is_number_unsigned() && value->get<std::uint64_t>() > limit))
    throw damaged(std::string(name) + " is not a time");
  return std::chrono::sys_seconds{std::chrono::seconds{value->get<std::int64_t>()}};
}

std::vector<std::string> requiredTexts(const SecretJSON& object, std::string_view name) {
  const auto* values = findMember(object, name);
  if (!values || !values->is_array()) throw damaged(std::string(name) + " is not a list");
  std::vector<std::string> texts;
  for (const auto& value : *values) {
    if (!value.is_string()) throw damaged(std::string(name) + " is not a list of texts");
    texts.emplace_back(std::string_view(value.get_ref<const SecretString&>()));
  }
  return texts;
}

}  // namespace

JSONSessionArchive::JSONSessionArchive(std::shared_ptr<HTTPClient> http, std::shared_ptr<Queue> pool,
                                       Clock clock)
    : http_(std::move(http)), pool_(std::move(pool)), clock_(std::move(clock)) {}

Data JSONSessionArchive::encode(const AuthSession& session) const {
  const auto* known = dynamic_cast<const OAuthSession*>(&session);
  if (!known)
    throw archiveError(sessionArchiveForeignSessionCode,
                       "Only sessions made by this platform can be stored.");
  const OAuthGrant grant = known->grant();
  SecretJSON object = SecretJSON::object();
  object["version"] = currentVersion;
  object["clientID"] = text(grant.clientID);
  object["clientSecret"] = text(grant.clientSecret);
  object["tokenEndpoint"] = text(grant.tokenEndpoint);
  object["accessToken"] = text(grant.accessToken);
  object["accessTokenExpiry"] = std::int64_t{grant.accessTokenExpiry.time_since_epoch().count()};
  object["refreshToken"] = text(grant.refreshToken);
  object["scopes"] = SecretJSON::array();
  for (const auto& scope : grant.scopes) object["scopes"].push_back(text(scope));
  object["email"] = text(grant.email);
  object["subject"] = text(grant.subject);
  return dataFromText(object.dump(-1, ' ', false, SecretJSON::error_handler_t::replace));
}

std::shared_ptr<AuthSession> JSONSessionArchive::decode(const Data& archive) const {
  const auto object = parseSecretObject(textView(archive));
  if (!object) throw damaged("it is not a JSON object");
  checkVersion(*object);
  OAuthGrant grant;
  grant.clientID = requiredText(*object, "clientID");
  grant.clientSecret = secretMember(*object, "clientSecret").value_or(Secret());
  grant.tokenEndpoint = requiredText(*object, "tokenEndpoint");
  if (!URL::parse(grant.tokenEndpoint)) throw damaged("tokenEndpoint is not a URL");
  grant.accessToken = requiredSecret(*object, "accessToken");
  grant.accessTokenExpiry = requiredTime(*object, "accessTokenExpiry");
  grant.refreshToken = requiredSecret(*object, "refreshToken");
  grant.scopes = requiredTexts(*object, "scopes");
  grant.email = textMember(*object, "email").value_or("");
  grant.subject = textMember(*object, "subject").value_or("");
  return std::make_shared<OAuthSession>(std::move(grant), http_, pool_, clock_);
}

}  // namespace corvane
