#include "KeyFile.hpp"

#include "FileDescriptor.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <span>

namespace corvane {
namespace {

// One byte more than a key has, so that a file that is too long shows.
Data readStart(const FileDescriptor& file, const std::filesystem::path& path) {
  Data bytes(ItemKey::size + 1);
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const auto count = ::read(file.get(), bytes.data() + filled, bytes.size() - filled);
    if (count == 0) break;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) failWithErrno("read", path);
    filled += static_cast<std::size_t>(count);
  }
  bytes.resize(filled);
  return bytes;
}

void writeAll(const FileDescriptor& file, std::span<const std::byte> bytes,
              const std::filesystem::path& path) {
  while (!bytes.empty()) {
    const auto count = ::write(file.get(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) failWithErrno("write", path);
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

void removeIfThere(const std::filesystem::path& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) failWithErrno("remove", path);
}

}  // namespace

KeyFile::Version KeyFile::versionOf(const struct stat& status) {
  return {identityOf(status), status.st_size, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

const ItemKey* KeyFile::current() {
  const auto& path = folder_.key();
  // The file that was read is still there, with the owner and the rights that were found in order.
  if (version_) {
    if (const auto status = statusOf(opened_.descriptor, KeychainFolder::keyName);
        status && versionOf(*status) == version_)
      return key_ ? &*key_ : nullptr;
  }
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file) {
    const int reason = errno;
    // A link or a file without rights is named as what it is.
    folder_.identify(path);
    errno = reason;
    if (reason != ENOENT) failWithErrno("read", path);
    version_.reset();
    key_.reset();
    return nullptr;
  }
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) failWithErrno("read", path);
  requirePrivateFile(path, status);
  const auto version = versionOf(status);
  if (version_ != version) {
    key_.reset();
    if (const auto bytes = readStart(file, path); bytes.size() == ItemKey::size) key_.emplace(bytes);
    version_ = version;
  }
  return key_ ? &*key_ : nullptr;
}

const ItemKey& KeyFile::create() {
  const auto key = ItemKey::random();
  const auto& path = folder_.key();
  auto draft = path;
  draft += ".new";
  removeIfThere(draft);
  {
    const FileDescriptor file(
        ::open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file || ::fchmod(file.get(), 0600) != 0) failWithErrno("create", draft);
    writeAll(file, key.bytes(), draft);
    if (::fsync(file.get()) != 0) failWithErrno("write", draft);
  }
  // A key appears whole under its name or not at all, and never in place of another whole one.
  if (!current()) removeIfThere(path);
  if (::link(draft.c_str(), path.c_str()) != 0 && errno != EEXIST) failWithErrno("create", path);
  removeIfThere(draft);
  folder_.sync();
  if (const auto* made = current()) return *made;
  errno = EIO;
  failWithErrno("read", path);
}

}  // namespace corvane
