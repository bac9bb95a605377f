#include "SQLite.hpp"

#include "KeychainProblem.hpp"
#include "ShellWord.hpp"

namespace corvane {
namespace {

OSStatus statusOf(int code) {
  if (code == SQLITE_IOERR_NOMEM) return errSecAllocate;
  switch (code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return errSecNotAvailable;
    case SQLITE_NOMEM:
      return errSecAllocate;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FORMAT:
    case SQLITE_ERROR:  // our own statements do not fit the tables that are there
      return errSecDecode;
    default:
      return errSecIO;
  }
}

const char* remedyOf(OSStatus status) {
  switch (status) {
    case errSecNotAvailable:
      return "another program kept it busy for too long; try again";
    case errSecAllocate:
      return "memory ran out";
    case errSecDecode:
      return "it is damaged; nothing was changed, so a copy can be put in its place";
    default:
      return "it could not be read or written; check that the disk has room and is not read-only";
  }
}

// SQLite's own waiting sleeps ever longer between looks at the lock, so that a busy process starves the others.
int waitForLock(void* patience, int waits) {
  if (waits >= static_cast<std::chrono::milliseconds*>(patience)->count()) return 0;
  sqlite3_sleep(1);
  return 1;
}

[[noreturn]] void fail(int code, sqlite3* database) {
  // Only SQLite's fixed texts: its messages of the moment may quote what was bound.
  const auto status = statusOf(code);
  const char* file = database ? sqlite3_db_filename(database, "main") : nullptr;
  throw KeychainProblem(status, "The keychain file " + (file && *file ? shellWord(file) + " " : "") +
                                    "failed (SQLite: " + sqlite3_errstr(code) + ", " + std::to_string(code) +
                                    "): " + remedyOf(status) + ".");
}

}  // namespace

// A transaction's own statements, compiled once: compiling them costs as much as reading an item.
struct SQLiteDatabase::TransactionStatements {
  explicit TransactionStatements(const SQLiteDatabase& database)
      // A writer takes its lock at the start, or two of them could each wait for the other.
      : begin(database, "BEGIN IMMEDIATE"), commit(database, "COMMIT"), rollback(database, "ROLLBACK") {}

  SQLiteStatement begin;
  SQLiteStatement commit;
  SQLiteStatement rollback;
};

SQLiteDatabase::SQLiteDatabase(const std::filesystem::path& file, std::chrono::milliseconds patience) {
  sqlite3* opened = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW;
  const int code = sqlite3_open_v2(file.c_str(), &opened, flags, nullptr);
  database_.reset(opened);
  if (code != SQLITE_OK) fail(code, opened);
  sqlite3_extended_result_codes(opened, 1);
  patience_ = std::make_unique<std::chrono::milliseconds>(patience);
  sqlite3_busy_handler(opened, waitForLock, patience_.get());
  // The file is not trusted to bring code of its own.
  sqlite3_db_config(opened, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  transactions_ = std::make_unique<TransactionStatements>(*this);
}

SQLiteDatabase::SQLiteDatabase(SQLiteDatabase&&) noexcept = default;
SQLiteDatabase::~SQLiteDatabase() = default;

void SQLiteDatabase::execute(const std::string& sql) {
  if (const int code = sqlite3_exec(handle(), sql.c_str(), nullptr, nullptr, nullptr); code != SQLITE_OK)
    fail(code, handle());
}

std::int64_t SQLiteDatabase::integer(const std::string& sql) {
  const SQLiteStatement statement(*this, sql);
  auto run = statement.run();
  return run.step() ? run.integer(0) : 0;
}

SQLiteStatement::SQLiteStatement(const SQLiteDatabase& database, const std::string& sql) {
  sqlite3_stmt* prepared = nullptr;
  const int code =
      sqlite3_prepare_v3(database.handle(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
  statement_.reset(prepared);
  if (code != SQLITE_OK) fail(code, database.handle());
}

SQLiteStatement::Run::~Run() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

void SQLiteStatement::Run::check(int code) const {
  if (code != SQLITE_OK) fail(code, sqlite3_db_handle(statement_));
}

SQLiteStatement::Run& SQLiteStatement::Run::bind(int index, std::int64_t number) {
  check(sqlite3_bind_int64(statement_, index, number));
  return *this;
}

SQLiteStatement::Run& SQLiteStatement::Run::bind(int index, const std::optional<std::string>& text) {
  check(text ? sqlite3_bind_text64(statement_, index, text->data(), text->size(), SQLITE_STATIC, SQLITE_UTF8)
             : sqlite3_bind_null(statement_, index));
  return *this;
}

SQLiteStatement::Run& SQLiteStatement::Run::bind(int index, std::span<const std::byte> bytes) {
  check(sqlite3_bind_blob64(statement_, index, bytes.data(), bytes.size(), SQLITE_STATIC));
  return *this;
}

bool SQLiteStatement::Run::step() {
  const int code = sqlite3_step(statement_);
  if (code != SQLITE_ROW && code != SQLITE_DONE) fail(code, sqlite3_db_handle(statement_));
  return code == SQLITE_ROW;
}

int SQLiteStatement::Run::finish(int tolerated) {
  const int code = sqlite3_step(statement_);
  if (code != SQLITE_DONE && code != tolerated) fail(code, sqlite3_db_handle(statement_));
  return code;
}

std::int64_t SQLiteStatement::Run::integer(int column) const {
  return sqlite3_column_int64(statement_, column);
}

std::optional<std::string> SQLiteStatement::Run::text(int column) const {
  if (sqlite3_column_type(statement_, column) == SQLITE_NULL) return std::nullopt;
  const auto* begin = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  if (!begin) fail(SQLITE_NOMEM, nullptr);
  return std::string(begin, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
}

std::span<const std::byte> SQLiteStatement::Run::bytes(int column) const {
  const auto* begin = static_cast<const std::byte*>(sqlite3_column_blob(statement_, column));
  return {begin, begin ? static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)) : 0};
}

SQLiteTransaction::SQLiteTransaction(SQLiteDatabase& database) : database_(database) {
  database_.transactions_->begin.run().finish();
}

SQLiteTransaction::~SQLiteTransaction() {
  if (open_) database_.transactions_->rollback.run().attempt();
}

void SQLiteTransaction::commit() {
  database_.transactions_->commit.run().finish();
  open_ = false;
}

}  // namespace corvane
