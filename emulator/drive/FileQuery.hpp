#pragma once

#include <optional>
#include <string_view>

namespace corvane::emulator {

/// What `q` may ask here: `'me' in owners` and `trashed = true|false`, joined by `and`.
struct FileQuery {
  bool ownedByMe = false;
  std::optional<bool> trashed = {};

  /// Nothing for anything else, which is refused rather than ignored.
  static std::optional<FileQuery> parse(std::string_view text);
};

}  // namespace corvane::emulator
