#include "WALIndex.hpp"

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace corvane {
namespace {

// The layout of the header that is known here, which stands in its first word, and the size of the region that
// starts with the header (https://www.sqlite.org/walformat.html).
constexpr std::uint32_t knownLayout = 3007000;
constexpr int regionSize = 32768;

// A file that is not in write-ahead mode must not be asked for shared memory, or it would get some.
bool usesWriteAheadLog(sqlite3* database) {
  bool answer = false;
  const auto look = [](void* target, int, char** values, char**) {
    *static_cast<bool*>(target) = values[0] && sqlite3_stricmp(values[0], "wal") == 0;
    return 0;
  };
  return sqlite3_exec(database, "PRAGMA journal_mode", look, &answer, nullptr) == SQLITE_OK && answer;
}

}  // namespace

WALIndex::WALIndex(sqlite3* database) {
  if (!usesWriteAheadLog(database)) return;
  sqlite3_file* file = nullptr;
  if (sqlite3_file_control(database, nullptr, SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK || !file ||
      !file->pMethods || file->pMethods->iVersion < 2 || !file->pMethods->xShmMap)
    return;
  // SQLite has it mapped already, and keeps it so until the connection is closed.
  void volatile* region = nullptr;
  if (file->pMethods->xShmMap(file, 0, regionSize, 0, &region) == SQLITE_OK)
    words_ = static_cast<std::uint32_t*>(const_cast<void*>(region));
}

std::optional<WALIndex::Header> WALIndex::header() const noexcept {
  if (!words_) return std::nullopt;
  Header header;
  // One that is being written shows: the second copy is written before the first.
  std::ranges::generate(
      header, [word = words_]() mutable { return std::atomic_ref(*word++).load(std::memory_order_acquire); });
  if (header.front() != knownLayout) return std::nullopt;
  return header;
}

}  // namespace corvane
