#pragma once

#include "ItemKey.hpp"
#include "KeychainFolder.hpp"

#include <cstdint>
#include <optional>

namespace corvane {

/// The key of a keychain on disk: 32 random bytes in a file of their own, read again whenever the file has
/// changed.
class KeyFile {
 public:
  /// Both must outlive this.
  KeyFile(const KeychainFolder& folder, const OpenedFolder& opened) : folder_(folder), opened_(opened) {}

  /// The key, or null when its file is missing or not of a key's size. Throws KeychainProblem when the file
  /// is refused or cannot be read.
  const ItemKey* current();

  /// Makes a new key and puts it where there is none, or a truncated one. The caller holds the database's
  /// write lock and knows that nothing is sealed with another key.
  const ItemKey& create();

 private:
  // Tells whether the file has changed. File numbers are used again; the time of the last change is not.
  struct Version {
    FileIdentity file;
    std::int64_t size = 0;
    std::int64_t changedSeconds = 0;
    std::int64_t changedNanoseconds = 0;

    bool operator==(const Version&) const = default;
  };

  static Version versionOf(const struct stat& status);

  const KeychainFolder& folder_;
  const OpenedFolder& opened_;
  std::optional<Version> version_;
  std::optional<ItemKey> key_;
};

}  // namespace corvane
