#pragma once

#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <optional>

namespace corvane {

/// Tells in a few nanoseconds whether anyone has written to a database in write-ahead mode.
///
/// All connections to it, of all processes, share a piece of memory, the WAL-index. Its header, 48 bytes that stand there
/// twice, is written anew with each commit, and counts them; SQLite itself takes the pages that it has in memory for good when a
/// look at that header shows nothing new. This is the same look without the reader's lock, which costs as much as reading
/// a row (https://www.sqlite.org/walformat.html, "The WAL-Index Header").
class WALIndex {
 public:
  using Header = std::array<std::uint32_t, 24>;

  /// `database` has been read from, and outlives this.
  explicit WALIndex(sqlite3* database);

  /// As long as two headers are equal, nothing was written between; of a header that is missing nothing can be told,
  /// as of a database in another mode.
  std::optional<Header> header() const noexcept;

 private:
  std::uint32_t* words_ = nullptr;
};

}  // namespace corvane
