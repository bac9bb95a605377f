#include "oauth/AuthorizationRequest.hpp"

#include <algorithm>
#include <array>
#include <charconv>

namespace corvane::emulator {
namespace {

constexpr std::string_view scopePrefix = "https://www.googleapis.com/auth/";

constexpr std::array<std::string_view, 16> knownParameters = {"client_id",
                                                              "redirect_uri",
                                                              "response_type",
                                                              "scope",
                                                              "state",
                                                              "code_challenge",
                                                              "nonce",
                                                              "code_challenge_method",
                                                              "login_hint",
                                                              "access_type",
                                                              "hd",
                                                              "include_granted_scopes",
                                                              "prompt",
                                                              "display",
                                                              "hl",
                                                              "authuser"};

constexpr std::array<std::string_view, 11> knownScopes = {
    "userinfo.email", "userinfo.profile", "drive",         "drive.appdata",           "drive.file",
    "drive.metadata", "drive.readonly",   "drive.scripts", "drive.metadata.readonly", "drive.photos.readonly",
    "drive.activity"};

template <class List>
bool has(const List& list, std::string_view item) {
  return std::ranges::find(list, item) != list.end();
}

[[noreturn]] void refuse(std::string error, std::string description) {
  throw OAuthError{400, std::move(error), std::move(description)};
}

bool isPort(std::string_view text) {
  int port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc{} && end == text.data() + text.size() && port > 0 && port < 65536;
}

/// `http://127.0.0.1:PORT[/path]` or `http://[::1]:PORT[/path]` (RFC 8252 section 7.3).
bool isLoopbackRedirect(std::string_view uri) {
  for (const std::string_view start : {"http://127.0.0.1:", "http://[::1]:"}) {
    if (!uri.starts_with(start)) continue;
    const auto rest = uri.substr(start.size());
    const auto slash = std::min(rest.find('/'), rest.size());
    return isPort(rest.substr(0, slash)) && rest.find_first_of("?#\\ \r\n", slash) == std::string_view::npos;
  }
  return false;
}

bool isChallenge(std::string_view text) {
  constexpr std::size_t length = 43;  // 32 bytes in base64url
  return text.size() == length && std::ranges::all_of(text, [](char c) {
           return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
                  c == '_';
         });
}

bool isKnownScope(std::string_view scope) {
  return scope == "openid" ||
         (scope.starts_with(scopePrefix) && has(knownScopes, scope.substr(scopePrefix.size())));
}

void checkNames(const Parameters& query) {
  for (const auto& [name, value] : query.all()) {
    if (!has(knownParameters, name)) refuse("invalid_request", "Unknown parameter: " + name);
  }
  for (const std::string_view name : {"client_id", "redirect_uri", "response_type", "scope", "state",
                                      "code_challenge", "code_challenge_method"}) {
    if (query.get(name).empty()) {
      refuse("invalid_request", "Missing required parameter: " + std::string(name));
    }
  }
}

void checkChoice(const Parameters& query, std::string_view name,
                 std::initializer_list<std::string_view> choices) {
  const auto value = query.find(name);
  if (value && !has(choices, *value)) refuse("invalid_request", "Invalid value for " + std::string(name));
}

Scopes checkedScopes(std::string_view text) {
  auto scopes = scopesFrom(text);
  for (const auto& scope : scopes) {
    if (!isKnownScope(scope)) refuse("invalid_scope", "Some requested scopes were invalid.");
  }
  if (!has(scopes, "openid")) refuse("invalid_scope", "The scope openid is required here.");
  return scopes;
}

}  // namespace

bool isDriveScope(std::string_view scope) {
  constexpr std::string_view drive = "https://www.googleapis.com/auth/drive";
  return scope == drive || (scope.starts_with(drive) && scope[drive.size()] == '.');
}

Scopes scopesFrom(std::string_view text) {
  Scopes scopes;
  while (!text.empty()) {
    const auto end = std::min(text.find(' '), text.size());
    std::string scope(text.substr(0, end));
    if (scope == "email" || scope == "profile") scope = std::string(scopePrefix) + "userinfo." + scope;
    if (!scope.empty() && !has(scopes, scope)) scopes.push_back(std::move(scope));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return scopes;
}

std::string joined(const Scopes& scopes) {
  std::string text;
  for (const auto& scope : scopes) text.append(text.empty() ? "" : " ").append(scope);
  return text;
}

AuthorizationRequest AuthorizationRequest::parse(std::string_view text, std::string_view clientID) {
  const auto query = Parameters::parse(text);
  if (!query) refuse("invalid_request", "The query is malformed or names a parameter twice.");
  checkNames(*query);
  if (query->get("client_id") != clientID)
    throw OAuthError{401, "invalid_client", "The OAuth client was not found."};
  if (!isLoopbackRedirect(query->get("redirect_uri"))) {
    refuse("redirect_uri_mismatch", "The redirect_uri must be a loopback address with a port.");
  }
  if (query->get("response_type") != "code") refuse("unsupported_response_type", "Only code is served.");
  if (query->get("code_challenge_method") != "S256" || !isChallenge(query->get("code_challenge"))) {
    refuse("invalid_request", "PKCE with code_challenge_method S256 is required.");
  }
  checkChoice(*query, "access_type", {"offline", "online"});
  checkChoice(*query, "include_granted_scopes", {"true", "false"});
  checkChoice(*query, "prompt",
              {"consent", "select_account", "consent select_account", "select_account consent"});
  return {.redirectURI = std::string(query->get("redirect_uri")),
          .state = std::string(query->get("state")),
          .codeChallenge = std::string(query->get("code_challenge")),
          .nonce = std::string(query->get("nonce")),
          .loginHint = std::string(query->get("login_hint")),
          .scopes = checkedScopes(query->get("scope"))};
}

}  // namespace corvane::emulator
