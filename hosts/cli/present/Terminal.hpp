#pragma once

#include "Style.hpp"

#include <cstddef>
#include <string_view>

namespace corvane::cli {

bool isTerminal(int descriptor);

/// How many columns the terminal has; 0 when it is none or does not tell.
std::size_t terminalColumns(int descriptor);

/// Writes to standard error at once. What cannot be written there cannot be told anywhere else either.
void printToStandardError(std::string_view text);

}  // namespace corvane::cli
