#pragma once

#include <CorvaneEmulator/FaultList.hpp>
#include <CorvaneEmulator/Journal.hpp>

#include "Message.hpp"
#include "oauth/Grants.hpp"
#include "oauth/OAuthService.hpp"

namespace corvane::emulator {

/// The emulator's remote control for tests in other processes, under /__emulator__/:
///
///     POST   faults         add faults                GET  faults    those not used yet
///     DELETE faults         drop them                 POST release   open all gates
///     GET    journal        the requests so far       DELETE journal forget them
///     POST   expire-tokens  no access token is good   POST revoke    no refresh token is good
///     POST   consent        {"consent": "ask|allow|deny|partial", "account": "..."}
///     POST   id-token-claims  a JSON merge patch for the id_tokens to come
///
/// Not in the journal and never faulted.
class ControlService {
 public:
  ControlService(FaultList& faults, Journal& journal, Grants& grants, OAuthService& oauth)
      : faults_(faults), journal_(journal), grants_(grants), oauth_(oauth) {}

  static bool serves(const Request& request);
  Response handle(const Request& request);

 private:
  Response faultList() const;
  Response journalList() const;
  void addFaults(const Request& request);
  void setConsent(const Request& request);

  FaultList& faults_;
  Journal& journal_;
  Grants& grants_;
  OAuthService& oauth_;
};

}  // namespace corvane::emulator
