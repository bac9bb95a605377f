#pragma once

#include <CorvaneEmulator/Options.hpp>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Message.hpp"
#include "oauth/AuthorizationRequest.hpp"
#include "oauth/ConsentPage.hpp"
#include "oauth/Grants.hpp"

namespace corvane::emulator {

/// The authorization page, the token, revocation and userinfo endpoints, keys and discovery.
class OAuthService {
 public:
  OAuthService(const Options& options, Grants& grants);

  Response handle(std::string_view operation, const Request& request);
  /// How later requests without a person in front are answered. With an account given, it is chosen when
  /// there is no login hint. Throws std::invalid_argument for an account that does not exist.
  void setConsent(Consent consent, const std::string& account);
  /// A JSON merge patch for the claims of the id_tokens to come; throws std::invalid_argument.
  void setIDTokenClaims(std::string_view patch);
  void setBaseURL(std::string url) { baseURL_ = std::move(url); }

 private:
  Response authorize(const Request& request);
  Response decide(const Request& request);
  Response token(const Request& request);
  Response revoke(const Request& request);
  Response userinfo(const Request& request) const;
  Response discovery() const;

  Response redirect(const AuthorizationRequest& request, const User& user, Consent consent);
  Response tokenAnswer(const IssuedTokens& tokens) const;
  void checkClient(const Parameters& form) const;
  const User* userNamed(std::string_view hint) const;

  std::string clientID_;
  std::string clientSecret_;
  Clock clock_;
  std::chrono::seconds lifetime_;
  std::vector<User> users_;
  Grants& grants_;
  std::string baseURL_;
  mutable std::mutex mutex_;
  Consent consent_;
  std::string account_;
  std::string claimsPatch_ = "{}";
  std::map<std::string, AuthorizationRequest> waiting_;  // pages shown, by request id
};

}  // namespace corvane::emulator
