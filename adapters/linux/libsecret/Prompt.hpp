#pragma once

#include "BusCall.hpp"

#include <chrono>
#include <string>

namespace corvane {

/// Lets the keyring service show one of its prompts, waits until the user has answered it, and gives its result.
/// Throws KeychainProblem: errSecUserCanceled when the user dismissed it; errSecInteractionNotAllowed when it was not
/// answered within `limit`, after which it is taken back, or when no program shows prompts; errSecNotAvailable when the
/// service is gone.
GVariantPointer showPrompt(ReplyLoop& loop, const BusPeer& service, const std::string& path,
                           std::chrono::milliseconds limit);

}  // namespace corvane
