#include "KeychainFolder.hpp"

#include "KeychainProblem.hpp"
#include "ShellWord.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace corvane {
namespace {

// Paths stand in the sentence as words of a shell, where control characters do no harm. A command ends the
// sentence, without a full stop that would be pasted too.
[[noreturn]] void refuse(const std::filesystem::path& path, const std::string& why) {
  throw KeychainProblem(errSecNotAvailable,
                        "The keychain was refused: " + shellWord(path.string()) + " " + why);
}

std::string octal(mode_t mode) {
  std::string digits;
  for (const unsigned shift : {9U, 6U, 3U, 0U}) digits += static_cast<char>('0' + ((mode >> shift) & 7U));
  return digits;
}

[[noreturn]] void refuseOwner(const std::filesystem::path& path, uid_t owner) {
  const auto user = std::to_string(::geteuid());
  const auto why = "belongs to user " + std::to_string(owner) + ", and the program runs as user " + user;
  // Root who took a user's file over would lock that user out.
  if (::geteuid() == 0) refuse(path, why + ". Run the program as the owner.");
  refuse(path, why + ". If it is yours, run: sudo chown " + user + " " + shellWord(path.string()));
}

void requirePrivate(const std::filesystem::path& path, const struct stat& status, const char* wanted) {
  if (status.st_uid != ::geteuid()) refuseOwner(path, status.st_uid);
  if ((status.st_mode & 07077) != 0) {
    refuse(path, "has mode " + octal(status.st_mode & 07777) +
                     ", which gives others a right to it. Run: chmod " + wanted + " " +
                     shellWord(path.string()));
  }
}

// The command puts the link's target in the link's place, if there is one.
[[noreturn]] void refuseLink(const std::filesystem::path& path) {
  const auto word = shellWord(path.string());
  refuse(path, "is a symbolic link. If you made it, put its target in its place; run: t=$(readlink -e " +
                   word + ") && rm " + word + " && mv \"$t\" " + word);
}

[[noreturn]] void refuseKind(const std::filesystem::path& path, const std::string& wanted) {
  refuse(path, "is not a " + wanted + ". Move it away; run: mv " + shellWord(path.string()) + " " +
                   shellWord(path.string() + ".moved"));
}

std::filesystem::path absoluteFromEnvironment(const char* variable) {
  const char* value = std::getenv(variable);
  const std::filesystem::path path(value ? value : "");
  return path.is_absolute() ? path : std::filesystem::path();
}

// lstat looks through a link whose name ends in a slash.
std::filesystem::path withoutTrailingSlash(const std::filesystem::path& path) {
  if (path.empty()) return path;
  const auto normal = std::filesystem::absolute(path).lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();
}

void syncFolder(const std::filesystem::path& path) {
  const FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder || ::fsync(folder.get()) != 0) failWithErrno("write", path);
}

void makeFolder(const std::filesystem::path& path) {
  if (::mkdir(path.c_str(), 0700) == 0) {
    if (::chmod(path.c_str(), 0700) != 0) failWithErrno("create", path);
    syncFolder(path.parent_path());
    return;
  }
  if (errno == EEXIST) return;
  if (errno != ENOENT || !path.has_relative_path()) failWithErrno("create", path);
  makeFolder(path.parent_path());
  makeFolder(path);
}

}  // namespace

FileIdentity identityOf(const struct stat& status) {
  return {status.st_dev, status.st_ino, status.st_mode, status.st_uid};
}

std::optional<struct stat> statusOf(const FileDescriptor& folder, const char* path) {
  struct stat status {};
  if (::fstatat(folder.get(), path, &status, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
  return status;
}

void requirePrivateFile(const std::filesystem::path& path, const struct stat& status) {
  if (S_ISLNK(status.st_mode)) refuseLink(path);
  if (!S_ISREG(status.st_mode)) refuseKind(path, "regular file");
  requirePrivate(path, status, "600");
}

void failWithErrno(const std::string& what, const std::filesystem::path& path) {
  const auto reason = std::generic_category().message(errno);
  throw KeychainProblem(
      errSecIO, "The keychain could not " + what + " " + shellWord(path.string()) + ": " + reason + ".");
}

KeychainFolder::KeychainFolder(const std::filesystem::path& path)
    : path_(withoutTrailingSlash(path.empty() ? standard() : path)),
      database_(path_ / databaseName),
      key_(path_ / keyName) {}

std::filesystem::path KeychainFolder::standard() {
  if (const auto data = absoluteFromEnvironment("XDG_DATA_HOME"); !data.empty()) return data / "corvane";
  if (const auto home = absoluteFromEnvironment("HOME"); !home.empty()) return home / ".local/share/corvane";
  return {};
}

std::optional<OpenedFolder> KeychainFolder::open() const {
  if (path_.empty()) {
    throw KeychainProblem(errSecNotAvailable,
                          "The keychain has no place: neither XDG_DATA_HOME nor HOME is an absolute path.");
  }
  FileDescriptor descriptor(::open(path_.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!descriptor && errno == ENOENT) return std::nullopt;
  struct stat status {};
  if (!descriptor || ::fstat(descriptor.get(), &status) != 0) failWithErrno("read", path_);
  if (S_ISLNK(status.st_mode)) refuseLink(path_);
  if (!S_ISDIR(status.st_mode)) refuseKind(path_, "folder");
  requirePrivate(path_, status, "700");
  return OpenedFolder{std::move(descriptor), identityOf(status)};
}

void KeychainFolder::create() const {
  if (!exists()) makeFolder(path_);
}

void KeychainFolder::createDatabase() const {
  // Made without being opened: closing a descriptor would drop the locks that SQLite holds on the file
  // elsewhere in this process (POSIX.1-2017, fcntl).
  const auto& file = database();
  if (::mknod(file.c_str(), S_IFREG | 0600, 0) != 0) {
    if (errno == EEXIST) return;
    failWithErrno("create", file);
  }
  if (::chmod(file.c_str(), 0600) != 0) failWithErrno("create", file);
  sync();
}

void KeychainFolder::sync() const {
  syncFolder(path_);
}

std::optional<FileIdentity> KeychainFolder::identify(const std::filesystem::path& file) const {
  struct stat status {};
  if (::lstat(file.c_str(), &status) != 0) {
    if (errno == ENOENT) return std::nullopt;
    failWithErrno("read", file);
  }
  requirePrivateFile(file, status);
  return identityOf(status);
}

void KeychainFolder::inspectDatabaseCompanions() const {
  for (const char* suffix : {"-wal", "-shm", "-journal"}) {
    auto file = database();
    identify(file += suffix);
  }
}

}  // namespace corvane
