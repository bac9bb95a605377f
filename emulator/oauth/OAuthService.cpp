#include "oauth/OAuthService.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "oauth/IDToken.hpp"
#include "text/Digest.hpp"
#include "text/Parameters.hpp"

namespace corvane::emulator {
namespace {

using nlohmann::ordered_json;

constexpr std::string_view issuer = "https://accounts.google.com";

Response errorAnswer(const OAuthError& error) {
  return Response::json(
      error.status, ordered_json{{"error", error.error}, {"error_description", error.description}}.dump(2));
}

[[noreturn]] void refuse(std::string error, std::string description) {
  throw OAuthError{400, std::move(error), std::move(description)};
}

/// The form in the body, whose members must be among `known`. Parameters in the URL would end up in logs.
Parameters formOf(const Request& request, std::initializer_list<std::string_view> known) {
  const auto type = request.header("Content-Type");
  if (type.substr(0, type.find(';')) != "application/x-www-form-urlencoded") {
    refuse("invalid_request", "The body must be application/x-www-form-urlencoded.");
  }
  if (!request.query().empty()) refuse("invalid_request", "Parameters belong in the body.");
  auto form = Parameters::parse(request.body);
  if (!form) refuse("invalid_request", "The form is malformed or names a parameter twice.");
  for (const auto& [name, value] : form->all()) {
    if (std::ranges::find(known, name) == known.end())
      refuse("invalid_request", "Unknown parameter: " + name);
  }
  return std::move(*form);
}

std::string required(const Parameters& form, std::string_view name) {
  const auto value = form.get(name);
  if (value.empty()) refuse("invalid_request", "Missing required parameter: " + std::string(name));
  return std::string(value);
}

}  // namespace

OAuthService::OAuthService(const Options& options, Grants& grants)
    : clientID_(options.clientID),
      clientSecret_(options.clientSecret),
      clock_(options.clock),
      lifetime_(options.tokenLifetime),
      users_(options.accounts.begin(), options.accounts.end()),
      grants_(grants),
      consent_(options.consent) {}

Response OAuthService::handle(std::string_view operation, const Request& request) {
  const std::lock_guard lock(mutex_);
  const bool page = operation == "auth" || operation == "auth.consent";
  try {
    if (operation == "auth") return authorize(request);
    if (operation == "auth.consent") return decide(request);
    if (operation == "token") return token(request);
    if (operation == "revoke") return revoke(request);
    if (operation == "userinfo") return userinfo(request);
    if (operation == "certs") return Response::json(200, signingKeys());
    return discovery();
  } catch (const OAuthError& error) {
    return page ? Response::html(error.status, authorizationErrorPage(error)) : errorAnswer(error);
  }
}

void OAuthService::setConsent(Consent consent, const std::string& account) {
  const std::lock_guard lock(mutex_);
  if (!account.empty() && userNamed(account) == nullptr) throw std::invalid_argument("no account " + account);
  consent_ = consent;
  account_ = account;
}

void OAuthService::setIDTokenClaims(std::string_view patch) {
  const auto parsed = ordered_json::parse(patch, nullptr, false);
  if (!parsed.is_object()) throw std::invalid_argument("the claims must be a JSON object");
  const std::lock_guard lock(mutex_);
  claimsPatch_ = patch;
}

const User* OAuthService::userNamed(std::string_view hint) const {
  const auto found = std::ranges::find_if(
      users_, [&](const User& user) { return user.email == hint || user.subject == hint; });
  return found == users_.end() ? nullptr : &*found;
}

Response OAuthService::authorize(const Request& request) {
  auto asked = AuthorizationRequest::parse(request.query(), clientID_);
  if (consent_ == Consent::Ask) {
    const auto id = randomText(24);
    auto page = Response::html(200, consentPage(users_, asked.loginHint, asked.scopes, id));
    waiting_.emplace(id, std::move(asked));
    return page;
  }
  const auto& hint = asked.loginHint.empty() ? account_ : asked.loginHint;
  const auto* user = hint.empty() ? &users_.front() : userNamed(hint);
  if (user == nullptr) refuse("invalid_request", "There is no account as the login_hint says.");
  return redirect(asked, *user, consent_);
}

Response OAuthService::decide(const Request& request) {
  const auto form = formOf(request, {"request", "account", "drive", "decision"});
  const auto found = waiting_.find(required(form, "request"));
  if (found == waiting_.end()) refuse("invalid_request", "This page has been answered already.");
  const auto* user = userNamed(required(form, "account"));
  if (user == nullptr) refuse("invalid_request", "There is no such account.");
  const auto decision = required(form, "decision");
  if (decision != "allow" && decision != "deny") refuse("invalid_request", "Invalid value for decision");
  const auto asked = std::move(found->second);
  waiting_.erase(found);
  const bool drive = form.get("drive") == "granted";  // a box that is not ticked is not sent
  const auto consent = decision == "deny" ? Consent::Deny : drive ? Consent::Allow : Consent::Partial;
  return redirect(asked, *user, consent);
}

Response OAuthService::redirect(const AuthorizationRequest& asked, const User& user, Consent consent) {
  std::string location =
      asked.redirectURI + "?state=" + percentEncoded(asked.state) + "&iss=" + percentEncoded(issuer);
  if (consent == Consent::Deny) {
    location += "&error=access_denied";
  } else {
    auto scopes = asked.scopes;
    if (consent == Consent::Partial) std::erase_if(scopes, isDriveScope);
    const auto code =
        grants_.issueCode({user.email, scopes, asked.redirectURI, asked.codeChallenge, asked.nonce});
    location += "&code=" + percentEncoded(code) + "&scope=" + percentEncoded(joined(scopes)) +
                "&authuser=0&prompt=consent";
  }
  return {
      .status = 302,
      .headers = {{"Location", location}, {"Cache-Control", "no-store"}, {"Referrer-Policy", "no-referrer"}}};
}

void OAuthService::checkClient(const Parameters& form) const {
  const auto id = required(form, "client_id");
  const auto secret = required(form, "client_secret");
  if (id != clientID_) throw OAuthError{401, "invalid_client", "The OAuth client was not found."};
  if (secret != clientSecret_) throw OAuthError{401, "invalid_client", "Unauthorized"};
}

Response OAuthService::token(const Request& request) {
  const auto form = formOf(request, {"grant_type", "code", "redirect_uri", "code_verifier", "client_id",
                                     "client_secret", "refresh_token"});
  const auto type = required(form, "grant_type");
  checkClient(form);
  if (type == "authorization_code") {
    if (form.find("refresh_token")) refuse("invalid_request", "refresh_token does not belong here.");
    const auto code = required(form, "code");
    const auto uri = required(form, "redirect_uri");
    return tokenAnswer(grants_.exchange(code, uri, form.get("code_verifier")));
  }
  if (type != "refresh_token") refuse("unsupported_grant_type", "Invalid grant_type: " + type);
  for (const std::string_view name : {"code", "redirect_uri", "code_verifier"}) {
    if (form.find(name)) refuse("invalid_request", std::string(name) + " does not belong here.");
  }
  return tokenAnswer(grants_.refresh(required(form, "refresh_token")));
}

Response OAuthService::tokenAnswer(const IssuedTokens& tokens) const {
  ordered_json answer = {{"access_token", tokens.accessToken}, {"expires_in", lifetime_.count()}};
  if (!tokens.refreshToken.empty()) answer["refresh_token"] = tokens.refreshToken;
  answer["scope"] = joined(tokens.scopes);
  answer["token_type"] = "Bearer";
  if (std::ranges::find(tokens.scopes, "openid") != tokens.scopes.end()) {
    answer["id_token"] =
        idToken(tokens, *userNamed(tokens.email), clientID_, clock_(), lifetime_, claimsPatch_);
  }
  return Response::json(200, answer.dump(2));
}

Response OAuthService::revoke(const Request& request) {
  const auto form = formOf(request, {"token"});
  if (!grants_.revoke(required(form, "token"))) refuse("invalid_token", "Token expired or revoked");
  return Response::json(200, "{}");
}

Response OAuthService::userinfo(const Request& request) const {
  const auto access = grants_.access(request.bearer());
  if (!access || std::ranges::find(access->scopes, "openid") == access->scopes.end()) {
    throw OAuthError{401, "invalid_request", "Invalid Credentials"};
  }
  const auto* user = userNamed(access->email);
  ordered_json answer = {{"sub", user->subject}, {"name", user->displayName}};
  const std::string_view email = "https://www.googleapis.com/auth/userinfo.email";
  if (std::ranges::find(access->scopes, email) != access->scopes.end()) {
    answer["email"] = user->email;
    answer["email_verified"] = true;
  }
  return Response::json(200, answer.dump(2));
}

Response OAuthService::discovery() const {
  const ordered_json answer = {{"issuer", issuer},
                               {"authorization_endpoint", baseURL_ + "/o/oauth2/v2/auth"},
                               {"token_endpoint", baseURL_ + "/token"},
                               {"revocation_endpoint", baseURL_ + "/revoke"},
                               {"userinfo_endpoint", baseURL_ + "/userinfo"},
                               {"jwks_uri", baseURL_ + "/oauth2/v3/certs"},
                               {"response_types_supported", {"code"}},
                               {"subject_types_supported", {"public"}},
                               {"id_token_signing_alg_values_supported", {"RS256"}},
                               {"code_challenge_methods_supported", {"S256"}},
                               {"authorization_response_iss_parameter_supported", true}};
  return Response::json(200, answer.dump(2));
}

}  // namespace corvane::emulator
