#pragma once

#include "GLibPointers.hpp"
#include "KeychainProblem.hpp"

#include <string>

namespace corvane {

/// Nothing can be reached that keeps sessions; `what` begins the sentence, the ways out end it.
KeychainProblem unreachable(const std::string& what);

/// What GLib, libsecret or the service itself reported, as a status and a sentence. Takes the error.
KeychainProblem problemOf(GError* error);

/// Whether the error says that an object is not there (any more).
bool tellsOfMissingObject(const GError& error);

}  // namespace corvane
