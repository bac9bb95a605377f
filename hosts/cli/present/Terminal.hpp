#pragma once

#include "Style.hpp"

#include <cstddef>
#include <string_view>

namespace corvane::cli {

bool isTerminal(int descriptor);

/// How many columns the terminal has; 0 when it is none or does not tell.
std::size_t terminalColumns(int descriptor);

/// Writes to standard error. What cannot be written there cannot be told anywhere else either. While
/// its reader is stuck, it waits until `interrupt` is readable, such as `Interrupt::descriptor()`;
/// the rest is dropped then.
void printToStandardError(std::string_view text, int interrupt);

}  // namespace corvane::cli
