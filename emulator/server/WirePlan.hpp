#pragma once

#include <CorvaneEmulator/Fault.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Message.hpp"

namespace corvane::emulator {

/// One thing a connection does.
struct WireStep {
  enum class Kind { Write, Wait, Hold, Reset, Close };

  Kind kind = Kind::Write;
  std::string head = {};                         ///< written first
  std::shared_ptr<const std::string> body = {};  ///< then a part of this, which may be shared
  std::size_t from = 0;
  std::size_t length = 0;
  std::uint64_t repeat = 1;
  std::chrono::milliseconds wait{0};
  std::shared_ptr<Gate> gate = {};
};

/// How an answer travels, byte by byte and pause by pause.
///
/// Everything that can go wrong on the wire is decided here, as a list of steps, without any socket; the
/// connection only carries the steps out.
struct WirePlan {
  std::vector<WireStep> steps;
  int status = 0;  ///< 0 when no whole answer is meant to be sent
};

/// What of the request matters for the answer's form.
struct WireRequest {
  bool keepAlive = true;
  bool gzip = false;
};

WirePlan planAnswer(Response response, const WireRequest& request, const Fault& fault);

}  // namespace corvane::emulator
