#pragma once

#include <Corvane/Data.hpp>

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace corvane {

/// One connection to one database file. Not for several threads at once, nor are its statements. Every
/// failure of SQLite throws KeychainProblem with the status that the failure stands for.
class SQLiteDatabase {
 public:
  /// Opens a file that is there already; symbolic links are refused. `patience` is how long a call may wait
  /// for another connection's lock.
  SQLiteDatabase(const std::filesystem::path& file, std::chrono::milliseconds patience);
  SQLiteDatabase(SQLiteDatabase&&) noexcept;
  ~SQLiteDatabase();

  sqlite3* handle() const noexcept { return database_.get(); }
  void execute(const std::string& sql);
  /// The same where a failure does not matter.
  void attempt(const char* sql) noexcept { sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr); }
  std::int64_t integer(const std::string& sql);

 private:
  friend class SQLiteTransaction;
  struct TransactionStatements;
  struct Closer {
    void operator()(sqlite3* database) const noexcept { sqlite3_close_v2(database); }
  };
  std::unique_ptr<std::chrono::milliseconds> patience_;  // SQLite keeps its address
  std::unique_ptr<sqlite3, Closer> database_;
  std::unique_ptr<TransactionStatements> transactions_;
};

/// A statement, compiled once and run many times. It must go before its database.
class SQLiteStatement {
 public:
  SQLiteStatement(const SQLiteDatabase& database, const std::string& sql);

  /// One run; ended by its destruction. What is bound must outlive it.
  class Run {
   public:
    explicit Run(sqlite3_stmt* statement) noexcept : statement_(statement) {}
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run();

    Run& bind(int index, std::int64_t number);
    Run& bind(int index, const std::optional<std::string>& text);
    Run& bind(int index, std::span<const std::byte> bytes);

    /// The next row; false at the end.
    bool step();
    /// Runs a statement that yields no rows; returns SQLite's extended result code instead of throwing when
    /// it is `tolerated`.
    int finish(int tolerated = SQLITE_DONE);
    /// The same where a failure does not matter.
    void attempt() noexcept { sqlite3_step(statement_); }

    std::int64_t integer(int column) const;
    std::optional<std::string> text(int column) const;
    /// Valid until the next step.
    std::span<const std::byte> bytes(int column) const;

   private:
    void check(int code) const;

    sqlite3_stmt* statement_;
  };

  Run run() const noexcept { return Run(statement_.get()); }

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

/// A transaction that writes, rolled back unless committed. That may fail when memory runs out; after an
/// error the connection is therefore best closed. What only reads needs none: a statement is one by itself.
class SQLiteTransaction {
 public:
  explicit SQLiteTransaction(SQLiteDatabase& database);
  SQLiteTransaction(const SQLiteTransaction&) = delete;
  SQLiteTransaction& operator=(const SQLiteTransaction&) = delete;
  ~SQLiteTransaction();

  void commit();

 private:
  SQLiteDatabase& database_;
  bool open_ = true;
};

}  // namespace corvane
