#pragma once

#include "GLibPointers.hpp"
#include "KeychainProblem.hpp"

#include <string>

namespace corvane {

/// Nothing can be reached that keeps sessions; `what` begins the sentence, the ways out end it.
KeychainProblem unreachable(const std::string& what);

/// The way to the service is cut, or the service knows nothing of us any more: another conversation may do better.
struct ConversationLost : KeychainProblem {
  explicit ConversationLost(const KeychainProblem& problem) : KeychainProblem(problem) {}
};

/// The answer cost the user or the caller time, so that calls begun at the same time share it (RecentAnswer).
struct DearAnswer : KeychainProblem {
  using KeychainProblem::KeychainProblem;
  explicit DearAnswer(const KeychainProblem& problem) : KeychainProblem(problem) {}
};

/// Throws what GLib, libsecret or the service itself reported, as a status and a sentence. Takes the error.
[[noreturn]] void raise(GError* error);

/// Whether the error says that who was called is gone, or does not know who calls: nothing was done.
bool tellsOfStranger(const GError& error);

/// Whether the error says that what was asked for is locked.
bool tellsOfLock(const GError& error);

/// Whether the error says that an object is not there (any more).
bool tellsOfMissingObject(const GError& error);

/// Whether the error says that an object has no such property.
bool tellsOfMissingProperty(const GError& error);

}  // namespace corvane
