#pragma once

#include <sqlite3.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace corvane::test {

/// The keychain's database as someone else would open it: to lock, to damage or to look at it.
class RawDatabase {
 public:
  explicit RawDatabase(const std::filesystem::path& folder) {
    check(sqlite3_open((folder / "keychain.db").c_str(), &database_));
    execute("PRAGMA synchronous = OFF");
  }
  RawDatabase(const RawDatabase&) = delete;
  RawDatabase& operator=(const RawDatabase&) = delete;
  ~RawDatabase() { sqlite3_close(database_); }

  void execute(const std::string& sql) {
    check(sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr));
  }

  /// The first column of the first row, as its bytes.
  std::string value(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v2(database_, sql.c_str(), -1, &statement, nullptr));
    std::string bytes;
    if (sqlite3_step(statement) == SQLITE_ROW) {
      const auto* begin = static_cast<const char*>(sqlite3_column_blob(statement, 0));
      bytes.assign(begin ? begin : "", static_cast<std::size_t>(sqlite3_column_bytes(statement, 0)));
    }
    sqlite3_finalize(statement);
    return bytes;
  }

  /// Runs a statement with its one parameter bound to these bytes, as a text or as a blob.
  void executeWith(const std::string& sql, const std::string& bytes, bool asText) {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v2(database_, sql.c_str(), -1, &statement, nullptr));
    const auto size = static_cast<int>(bytes.size());
    check(asText ? sqlite3_bind_text(statement, 1, bytes.data(), size, SQLITE_TRANSIENT)
                 : sqlite3_bind_blob(statement, 1, bytes.data(), size, SQLITE_TRANSIENT));
    const int code = sqlite3_step(statement);
    sqlite3_finalize(statement);
    if (code != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(database_));
  }

 private:
  void check(int code) {
    if (code != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(database_));
  }

  sqlite3* database_ = nullptr;
};

}  // namespace corvane::test
