#include <CorvaneEmulator/Emulator.hpp>
#include <set>
#include <stdexcept>

#include "ControlService.hpp"
#include "Exchange.hpp"
#include "drive/DriveService.hpp"
#include "oauth/Grants.hpp"
#include "oauth/OAuthService.hpp"
#include "server/Certificates.hpp"
#include "server/Server.hpp"

namespace corvane::emulator {
namespace {

Options checked(Options options) {
  if (options.accounts.empty()) throw std::invalid_argument("the emulator needs an account");
  if (options.tokenLifetime.count() <= 0) throw std::invalid_argument("the token lifetime must be positive");
  if (options.clientID.empty() || options.clientSecret.empty()) {
    throw std::invalid_argument("the client needs an id and a secret");
  }
  std::set<std::string> seen;
  for (const auto& account : options.accounts) {
    const auto at = account.email.find('@');
    if (at == 0 || at == std::string::npos || at + 1 == account.email.size()) {
      throw std::invalid_argument("'" + account.email + "' is no e-mail address");
    }
    if (!seen.insert(account.email).second) throw std::invalid_argument(account.email + " occurs twice");
  }
  return options;
}

}  // namespace

class Emulator::Implementation {
 public:
  explicit Implementation(Options given)
      : options(checked(std::move(given))),
        grants(options),
        drive(options, grants),
        oauth(options, grants),
        control(faults, journal, grants, oauth),
        exchange(faults, journal, drive, oauth, control),
        certificates(options.tls ? std::optional(Certificates::make()) : std::nullopt),
        server(options.port, certificates ? &*certificates : nullptr,
               [this](const Request& request, std::uint64_t connection, bool keepAlive) {
                 return exchange.perform(request, connection, keepAlive);
               }) {
    oauth.setBaseURL(baseURL());
  }

  std::string baseURL() const {
    return (certificates ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(server.port());
  }

  Options options;
  FaultList faults;
  Journal journal;
  Grants grants;
  DriveService drive;
  OAuthService oauth;
  ControlService control;
  Exchange exchange;
  std::optional<Certificates> certificates;
  Server server;
};

Emulator::Emulator(Options options) : implementation_(std::make_unique<Implementation>(std::move(options))) {}
Emulator::~Emulator() {
  stop();
}

void Emulator::start() {
  implementation_->server.start();
}
void Emulator::stop() {
  implementation_->server.stop();
}
std::string Emulator::baseURL() const {
  return implementation_->baseURL();
}
std::uint16_t Emulator::port() const {
  return implementation_->server.port();
}

std::string Emulator::authorityPEM() const {
  return implementation_->certificates ? implementation_->certificates->authority : std::string();
}

FaultList& Emulator::faults() {
  return implementation_->faults;
}
Journal& Emulator::journal() {
  return implementation_->journal;
}

IssuedSession Emulator::issueSession(const std::string& email, std::string_view scopes) {
  subject(email);  // refuses an account that does not exist
  auto tokens = implementation_->grants.issueSession(email, scopesFrom(scopes));
  return {std::move(tokens.accessToken), std::move(tokens.refreshToken), tokens.expires};
}

void Emulator::expireTokens() {
  implementation_->grants.expireAccessTokens();
}
void Emulator::revokeAll() {
  implementation_->grants.revokeAll();
}

void Emulator::setConsent(Consent consent, const std::string& account) {
  implementation_->oauth.setConsent(consent, account);
}

void Emulator::setIDTokenClaims(std::string_view patch) {
  implementation_->oauth.setIDTokenClaims(patch);
}

std::vector<std::string> Emulator::secrets() const {
  return implementation_->grants.secrets();
}

void Emulator::closeIdleConnections() {
  implementation_->server.closeIdleConnections();
}

std::uint64_t Emulator::fileCount(const std::string& email, bool ownedByMe,
                                  std::optional<bool> trashed) const {
  return implementation_->drive.count(email, {.ownedByMe = ownedByMe, .trashed = trashed});
}

std::string Emulator::fileID(const std::string& email, std::uint64_t index) const {
  return implementation_->drive.fileID(email, index);
}

std::string Emulator::subject(const std::string& email) const {
  for (const auto& account : implementation_->options.accounts) {
    if (account.email == email) return User(account).subject;
  }
  throw std::invalid_argument("no account " + email);
}

}  // namespace corvane::emulator
