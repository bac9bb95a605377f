#pragma once

#include "BusCall.hpp"

#include <chrono>
#include <stop_token>
#include <string>

namespace corvane {

/// Lets the keyring service show one of its prompts, waits until the user has answered it, and gives its result.
/// Throws KeychainProblem: errSecUserCanceled when the user dismissed it; errSecInteractionNotAllowed when it was not
/// answered within `limit`, or when no program shows prompts; errSecNotAvailable when the service is gone. When stop is
/// requested, that is errSecUserCanceled. A prompt that nobody has answered is taken back,
/// but from gnome-keyring.
GVariantPointer showPrompt(ReplyLoop& loop, const BusPeer& service, const std::string& path,
                           std::chrono::milliseconds limit, const std::stop_token& stop);

}  // namespace corvane
