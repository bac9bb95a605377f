#pragma once

#include "ReplyLoop.hpp"

#include <string>

namespace corvane {

/// Who calls go to. The name is the unique one: should the service be replaced midway, calls fail rather than
/// reach another one that knows nothing of what went before.
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

/// Makes a D-Bus call and waits for its answer.
BusAnswer answer(ReplyLoop& loop, const BusPeer& peer, const BusCall& call);

/// The answer's value. Throws KeychainProblem if it is an error.
GVariantPointer valueOf(BusAnswer answer);

/// The same for calls to an object that may be gone, which gives nothing.
GVariantPointer valueIfThere(BusAnswer answer);

/// Makes a D-Bus call and waits for the reply. Throws KeychainProblem.
GVariantPointer reply(ReplyLoop& loop, const BusPeer& peer, const BusCall& call);

/// The same for calls to an object that may be gone, which gives nothing.
GVariantPointer replyIfThere(ReplyLoop& loop, const BusPeer& peer, const BusCall& call);

}  // namespace corvane
