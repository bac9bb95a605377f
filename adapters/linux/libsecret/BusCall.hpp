#pragma once

#include "ReplyLoop.hpp"

#include <string>
#include <vector>

namespace corvane {

/// Who calls go to. The name is the unique one: should the service be replaced midway, calls fail rather than reach
/// another one that knows nothing of what went before.
struct BusPeer {
  GDBusConnection* connection;
  std::string name;
};

struct BusCall {
  std::string path;
  const char* interface;
  const char* method;
  GVariant* arguments;    // floating references are taken
  const char* replyType;  // a D-Bus signature
};

/// What a call brought: one of the two.
struct BusAnswer {
  GVariantPointer value;
  GErrorPointer error;
};

/// Makes D-Bus calls that do not depend on each other, all before the first answer, so that they cost one wait. The
/// service gets them in this order.
std::vector<BusAnswer> answers(ReplyLoop& loop, const BusPeer& peer, const std::vector<BusCall>& calls);

/// The answer's value. Throws KeychainProblem if it is an error.
GVariantPointer valueOf(BusAnswer answer);

/// The same for calls to an object that may be gone, which gives nothing.
GVariantPointer valueIfThere(BusAnswer answer);

/// Makes a D-Bus call and waits for the reply. Throws KeychainProblem.
GVariantPointer reply(ReplyLoop& loop, const BusPeer& peer, const BusCall& call);

/// The same for calls to an object that may be gone, which gives nothing.
GVariantPointer replyIfThere(ReplyLoop& loop, const BusPeer& peer, const BusCall& call);

}  // namespace corvane
