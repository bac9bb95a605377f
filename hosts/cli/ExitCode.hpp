#pragma once

#include <Corvane/ErrorKind.hpp>

#include <string_view>

namespace corvane::cli {

/// What the program tells the shell. The numbers are a promise to scripts.
enum class ExitCode {
  ok = 0,
  other = 1,
  usage = 2,
  notFound = 3,
  signInNeeded = 4,
  temporary = 5,
  permission = 6,
  keychain = 7,
  interrupted = 130,  // 128 + SIGINT, as shells have it
};

/// The code for a kind of error.
ExitCode exitCode(ErrorKind kind);

/// The kind's name as it stands in JSON.
std::string_view kindName(ErrorKind kind);

}  // namespace corvane::cli
