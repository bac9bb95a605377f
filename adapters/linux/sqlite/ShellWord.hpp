#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// A text as one word of a POSIX shell's command line, so that a user can paste a command with it. Control
/// characters are written as octal numbers for `printf`: the command stays one harmless line.
std::string shellWord(std::string_view text);

}  // namespace corvane
