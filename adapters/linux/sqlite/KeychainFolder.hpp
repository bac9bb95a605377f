#pragma once

#include "FileDescriptor.hpp"

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace corvane {

/// Tells whether a file is still the one that was seen before, with the same owner and rights.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t number = 0;
  mode_t mode = 0;
  uid_t owner = 0;

  bool operator==(const FileIdentity&) const = default;
};

FileIdentity identityOf(const struct stat& status);

/// What the system tells of a file or folder, of a link itself if it is one; empty when it tells nothing, for whatever
/// reason. A relative path starts in `folder`.
std::optional<struct stat> statusOf(const FileDescriptor& folder, const char* path);

/// A folder that was found in order. Its files can be looked at without the path to it being walked again.
struct OpenedFolder {
  FileDescriptor descriptor;
  FileIdentity identity;
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

  static constexpr const char* databaseName = "keychain.db";
  static constexpr const char* keyName = "keychain.key";

  const std::filesystem::path& path() const { return path_; }
  const std::filesystem::path& database() const { return database_; }
  const std::filesystem::path& key() const { return key_; }

  /// Whether the folder is there.
  bool exists() const { return open().has_value(); }
  /// Makes the folder, and what leads to it, unless it is there; mode 0700 under any umask.
  void create() const;
  /// Makes an empty database file unless there is one; mode 0600 under any umask.
  void createDatabase() const;
  /// Makes what was created in the folder survive a power failure.
  void sync() const;

  /// The folder that lies at the path now; empty when there is none.
  std::optional<OpenedFolder> open() const;
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
