#include "ExitCode.hpp"

#include <algorithm>
#include <array>

namespace corvane::cli {
namespace {

struct Row {
  ErrorKind kind;
  ExitCode code;
  std::string_view name;
};

constexpr std::array<Row, 9> table{{
    {ErrorKind::notSignedIn, ExitCode::signInNeeded, "notSignedIn"},
    {ErrorKind::cancelled, ExitCode::interrupted, "cancelled"},
    {ErrorKind::temporary, ExitCode::temporary, "temporary"},
    {ErrorKind::permission, ExitCode::permission, "permission"},
    {ErrorKind::notFound, ExitCode::notFound, "notFound"},
    {ErrorKind::keychainLocked, ExitCode::keychain, "keychainLocked"},
    {ErrorKind::keychainUnavailable, ExitCode::keychain, "keychainUnavailable"},
    {ErrorKind::invalidResponse, ExitCode::other, "invalidResponse"},
    {ErrorKind::other, ExitCode::other, "other"},
}};

const Row& row(ErrorKind kind) {
  const auto* found =
      std::find_if(table.begin(), table.end(), [kind](const Row& r) { return r.kind == kind; });
  return found == table.end() ? table.back() : *found;
}

}  // namespace

ExitCode exitCode(ErrorKind kind) {
  return row(kind).code;
}

std::string_view kindName(ErrorKind kind) {
  return row(kind).name;
}

}  // namespace corvane::cli
