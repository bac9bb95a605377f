#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace corvane {

/// Tells whether a file is still the one that was seen before.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t number = 0;

  bool operator==(const FileIdentity&) const = default;
};

/// The private folder of a keychain, and the rules for what lies in it: everything belongs to the user who
/// runs the program, nobody else has any right to it, and nothing is a symbolic link. What breaks a rule is
/// refused by a KeychainProblem with errSecNotAvailable that says how to put it right. Stateless; any thread.
class KeychainFolder {
 public:
  /// An empty path means the user's standard place, `standard()`.
  explicit KeychainFolder(const std::filesystem::path& path);

  /// `$XDG_DATA_HOME/corvane`, or `~/.local/share/corvane` when that variable is unset, empty or relative
  /// (XDG Base Directory 0.8); empty when there is no absolute HOME either.
  static std::filesystem::path standard();

  const std::filesystem::path& database() const { return database_; }
  const std::filesystem::path& key() const { return key_; }

  /// Whether the folder is there.
  bool exists() const;
  /// Makes the folder, and what leads to it, unless it is there; mode 0700 under any umask.
  void create() const;
  /// Makes an empty database file unless there is one; mode 0600 under any umask.
  void createDatabase() const;
  /// Makes what was created in the folder survive a power failure.
  void sync() const;

  /// Which file lies at a path of this folder; empty when there is none.
  std::optional<FileIdentity> identify(const std::filesystem::path& file) const;
  /// Checks the files that a database has beside it.
  void inspectDatabaseCompanions() const;

 private:
  std::filesystem::path path_;
  std::filesystem::path database_;
  std::filesystem::path key_;
};

/// Refuses a file that is not a regular one of the user's own and private; `path` is for the message.
void requirePrivateFile(const std::filesystem::path& path, const struct stat& status);

/// Fails with errSecIO, naming the file and the system's reason, errno.
[[noreturn]] void failWithErrno(const std::string& what, const std::filesystem::path& path);

}  // namespace corvane
