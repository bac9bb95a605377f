#pragma once

#include <csignal>
#include <string>

namespace corvane::cli {

/// Starts the desktop's browser at an address: `xdg-open`, given the address as one argument, without a shell. It
/// runs in a session of its own, with `signals` as its signal mask, so that Ctrl-C here does not end it. False when
/// it cannot be started.
bool openInBrowser(const std::string& url, const sigset_t& signals);

}  // namespace corvane::cli
