#pragma once

#include <CorvaneEmulator/FaultList.hpp>
#include <CorvaneEmulator/Journal.hpp>
#include <CorvaneEmulator/Options.hpp>
#include <cstdint>

#include "ControlService.hpp"
#include "Message.hpp"
#include "drive/DriveService.hpp"
#include "oauth/OAuthService.hpp"
#include "server/WirePlan.hpp"

namespace corvane::emulator {

/// The way of one request: which operation, which fault, which service, and the entry in the journal.
class Exchange {
 public:
  Exchange(FaultList& faults, Journal& journal, DriveService& drive, OAuthService& oauth,
           ControlService& control)
      : faults_(faults), journal_(journal), drive_(drive), oauth_(oauth), control_(control) {}

  WirePlan perform(const Request& request, std::uint64_t connection, bool keepAlive);

 private:
  Response serve(std::string_view operation, const Request& request);

  FaultList& faults_;
  Journal& journal_;
  DriveService& drive_;
  OAuthService& oauth_;
  ControlService& control_;
};

}  // namespace corvane::emulator
