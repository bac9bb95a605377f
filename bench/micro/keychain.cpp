// The encrypted keychain file, as the module uses it, against bare SQLite: rollback journal, full synchronisation,
// the same bytes in the same two transactions, statements prepared once.
#include "AuthKeychainHelper.hpp"
#include "Folder.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace {

using corvane::Data;

constexpr std::size_t sessionBytes = 2048;
constexpr std::size_t sealedBytes = sessionBytes + 24 + 16;  // nonce and tag

class BareDatabase {
 public:
  explicit BareDatabase(const std::string& file) {
    check(sqlite3_open(file.c_str(), &database_));
    execute(
        "PRAGMA journal_mode = DELETE; PRAGMA synchronous = FULL;"
        "CREATE TABLE items (id INTEGER PRIMARY KEY, account TEXT, service TEXT, sealed BLOB,"
        " UNIQUE (account, service))");
    begin_ = prepared("BEGIN IMMEDIATE");
    commit_ = prepared("COMMIT");
    delete_ = prepared("DELETE FROM items WHERE account = 'ada@example.com' AND service = 'bench'");
    insert_ = prepared("INSERT INTO items (account, service, sealed) VALUES ('ada@example.com', 'bench', ?)");
    select_ = prepared("SELECT sealed FROM items WHERE account = 'ada@example.com' AND service = 'bench'");
  }
  ~BareDatabase() {
    for (auto* statement : {begin_, commit_, delete_, insert_, select_}) sqlite3_finalize(statement);
    sqlite3_close(database_);
  }
  BareDatabase(const BareDatabase&) = delete;
  BareDatabase& operator=(const BareDatabase&) = delete;

  void save(const Data& bytes) {
    for (auto* statement : {begin_, delete_, commit_, begin_}) run(statement);
    sqlite3_bind_blob(insert_, 1, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC);
    for (auto* statement : {insert_, commit_}) run(statement);
  }

  Data read() {
    if (sqlite3_step(select_) != SQLITE_ROW) std::abort();
    const auto* bytes = static_cast<const std::byte*>(sqlite3_column_blob(select_, 0));
    Data data(bytes, bytes + sqlite3_column_bytes(select_, 0));
    sqlite3_reset(select_);
    return data;
  }

 private:
  static void check(int code) {
    if (code != SQLITE_OK) std::abort();
  }
  void execute(const char* sql) { check(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr)); }
  sqlite3_stmt* prepared(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v3(database_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
    return statement;
  }
  static void run(sqlite3_stmt* statement) {
    if (sqlite3_step(statement) != SQLITE_DONE) std::abort();
    sqlite3_reset(statement);
  }

  sqlite3* database_ = nullptr;
  sqlite3_stmt* begin_ = nullptr;
  sqlite3_stmt* commit_ = nullptr;
  sqlite3_stmt* delete_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
  sqlite3_stmt* select_ = nullptr;
};

corvane::AuthKeychainHelper makeHelper(const bench::Folder& folder) {
  return {
      "ada@example.com", {}, std::make_shared<corvane::EncryptedFileKeychain>(folder.path() / "keychain")};
}

void save(benchmark::State& state) {
  const bench::Folder folder;
  const auto helper = makeHelper(folder);
  const Data session(sessionBytes);
  helper.setPassword(session, "bench", std::nullopt);  // makes the file
  for (auto _ : state) helper.setPassword(session, "bench", std::nullopt);
}
BENCHMARK(save)->Name("a 2 KB session saved/corvane")->UseRealTime();

void bareSave(benchmark::State& state) {
  const bench::Folder folder;
  BareDatabase database(folder.path() / "bare.db");
  const Data sealed(sealedBytes);
  for (auto _ : state) database.save(sealed);
}
BENCHMARK(bareSave)->Name("a 2 KB session saved/floor")->UseRealTime();

void read(benchmark::State& state) {
  const bench::Folder folder;
  const auto helper = makeHelper(folder);
  helper.setPassword(Data(sessionBytes), "bench", std::nullopt);
  for (auto _ : state) benchmark::DoNotOptimize(helper.passwordData("bench"));
}
BENCHMARK(read)->Name("a 2 KB session read/corvane");

void bareRead(benchmark::State& state) {
  const bench::Folder folder;
  BareDatabase database(folder.path() / "bare.db");
  database.save(Data(sealedBytes));
  for (auto _ : state) benchmark::DoNotOptimize(database.read());
}
BENCHMARK(bareRead)->Name("a 2 KB session read/floor");

}  // namespace
