#include "AuthorizationRequest.hpp"

#include "FormEncoding.hpp"
#include "RandomText.hpp"

#include <utility>

namespace corvane {

AuthorizationRequest::AuthorizationRequest(std::string client, std::string redirect, std::string hint)
    : clientID(std::move(client)),
      redirectURI(std::move(redirect)),
      loginHint(std::move(hint)),
      state(randomText(32)),
      nonce(randomText(32)) {}

std::string AuthorizationRequest::url(std::string_view endpoint) const {
  std::string text(endpoint);
  char separator = text.find('?') == std::string::npos ? '?' : '&';
  const auto add = [&](std::string_view name, std::string_view value) {
    text.append(1, separator).append(name).append("=");
    appendPercentEncoded(text, value);
    separator = '&';
  };
  add("client_id", clientID);
  add("redirect_uri", redirectURI);
  add("response_type", "code");
  add("scope", "openid email " + std::string(driveScope));
  add("state", state.reveal());
  add("nonce", nonce.reveal());
  add("code_challenge", pkce.challenge);
  add("code_challenge_method", "S256");
  add("access_type", "offline");  // a refresh token, please
  add("prompt", "consent");  // also when consent was given before: Google sends no refresh token otherwise
  if (!loginHint.empty()) add("login_hint", loginHint);
  return text;
}

Data AuthorizationRequest::exchangeForm(const Secret& code, const Secret& clientSecret) const {
  FormBody form;
  form.add("grant_type", "authorization_code")
      .add("code", code.reveal())
      .add("redirect_uri", redirectURI)
      .add("code_verifier", pkce.verifier.reveal())
      .add("client_id", clientID);
  if (!clientSecret.empty()) form.add("client_secret", clientSecret.reveal());
  return form.take();
}

}  // namespace corvane
