#include "Input.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "sqlite/ItemKey.hpp"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

// A row of the keychain file as someone else may have written it. The input is one column per line: class,
// account, service, access group, synchronizable, accessible, nonce, sealed. The first letter is the column's
// storage class: t(ext), i(nteger), r(eal), b(lob), n(ull). A last column of s(ecret) is sealed for the item
// that the row seems to be, with the keychain's own key.

namespace corvane::fuzz {
namespace {

constexpr std::size_t columnCount = 8;

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  std::abort();
}

/// A keychain that lives as long as the fuzzer, with no items but its key in place.
class Place {
 public:
  Place() {
    const bool memory = std::filesystem::is_directory("/dev/shm");
    std::string name =
        (memory ? "/dev/shm" : std::filesystem::temp_directory_path().string()) + "/corvane-XXXXXX";
    if (!::mkdtemp(name.data())) fail("no temporary folder");
    folder_ = name;
    keychain_ = std::make_unique<EncryptedFileKeychain>(folder_ / "keychain");
    const KeychainDictionary item{{std::string(kSecClass), kSecClassGenericPassword},
                                  {std::string(kSecAttrAccount), "first"},
                                  {std::string(kSecAttrService), "corvane"},
                                  {std::string(kSecValueData), dataFromText("x")}};
    if (keychain_->SecItemAdd(item, nullptr) != errSecSuccess) fail("no keychain");
    if (sqlite3_open((folder_ / "keychain" / "keychain.db").c_str(), &database_) != SQLITE_OK)
      fail("no database");
    sqlite3_exec(database_, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    const char* sql =
        "INSERT INTO items (class, account, service, access_group, synchronizable, accessible, nonce, "
        "sealed) "
        "VALUES (?, ?, ?, ?, ?, ?, ?, ?)";
    if (sqlite3_prepare_v2(database_, sql, -1, &insert_, nullptr) != SQLITE_OK)
      fail(sqlite3_errmsg(database_));
    std::ifstream file(folder_ / "keychain" / "keychain.key", std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    key_.emplace(std::as_bytes(std::span(bytes)).last<ItemKey::size>());
  }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;
  ~Place() {
    sqlite3_finalize(insert_);
    sqlite3_close(database_);
    keychain_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  void clear() { sqlite3_exec(database_, "DELETE FROM items", nullptr, nullptr, nullptr); }

  sqlite3_stmt* insert() const { return insert_; }
  const ItemKey& key() const { return *key_; }
  EncryptedFileKeychain& keychain() const { return *keychain_; }

 private:
  std::filesystem::path folder_;
  std::unique_ptr<EncryptedFileKeychain> keychain_;
  sqlite3* database_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
  std::optional<ItemKey> key_;
};

using Columns = std::array<std::string_view, columnCount>;

std::optional<Columns> columnsIn(std::string_view text) {
  Columns columns;
  for (std::size_t i = 0; i < columnCount; ++i) {
    const bool last = i + 1 == columnCount;
    const auto end = last ? text.size() : text.find('\n');
    if (end == text.npos) return std::nullopt;
    columns[i] = text.substr(0, end);
    if (columns[i].empty()) return std::nullopt;
    text.remove_prefix(std::min(text.size(), end + 1));
  }
  return columns;
}

std::optional<std::string> textOf(std::string_view column) {
  if (column.front() == 'n') return std::nullopt;
  return std::string(column.substr(1));
}

KeychainItem itemOf(const Columns& columns) {
  KeychainItem item;
  item.itemClass = textOf(columns[0]).value_or("");
  item.account = textOf(columns[1]);
  item.service = textOf(columns[2]);
  item.accessGroup = textOf(columns[3]);
  item.synchronizable = columns[4] == "i1";
  item.accessible = textOf(columns[5]);
  return item;
}

void bind(sqlite3_stmt* statement, int index, char kind, std::string_view bytes) {
  const auto size = static_cast<int>(bytes.size());
  const std::string text(bytes);
  switch (kind) {
    case 'i':
      sqlite3_bind_int64(statement, index, std::strtoll(text.c_str(), nullptr, 10));
      break;
    case 'r':
      sqlite3_bind_double(statement, index, std::strtod(text.c_str(), nullptr));
      break;
    case 'b':
      sqlite3_bind_blob(statement, index, bytes.data(), size, SQLITE_TRANSIENT);
      break;
    case 'n':
      sqlite3_bind_null(statement, index);
      break;
    default:
      sqlite3_bind_text(statement, index, bytes.data(), size, SQLITE_TRANSIENT);
  }
}

/// False when the database itself refuses the row.
bool write(const Place& place, const Columns& columns, const std::optional<SealedSecret>& sealed) {
  sqlite3_stmt* statement = place.insert();
  for (std::size_t i = 0; i < columnCount; ++i)
    bind(statement, static_cast<int>(i) + 1, columns[i].front(), columns[i].substr(1));
  if (sealed) {
    bind(statement, 7, 'b', textView(sealed->nonce));
    bind(statement, 8, 'b', textView(sealed->bytes));
  }
  const bool written = sqlite3_step(statement) == SQLITE_DONE;
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
  return written;
}

bool isDocumented(OSStatus status) {
  return status == errSecSuccess || status == errSecItemNotFound || status == errSecDecode ||
         status == errSecParam;
}

void look(const Place& place, const KeychainItem& item, std::optional<std::string_view> secret) {
  KeychainDictionary query{{std::string(kSecClass), kSecClassGenericPassword},
                           {std::string(kSecAttrSynchronizable), kSecAttrSynchronizableAny},
                           {std::string(kSecMatchLimit), kSecMatchLimitOne},
                           {std::string(kSecReturnData), true}};
  if (item.account) query.emplace(kSecAttrAccount, *item.account);
  KeychainValue found;
  const OSStatus status = place.keychain().SecItemCopyMatching(query, &found);
  require(isDocumented(status), "a look-up ends as documented");
  if (status == errSecSuccess) {
    require(secret.has_value(), "a secret that nobody sealed is never read");
    require(found.data() && textView(*found.data()) == *secret, "a secret is read as it was sealed");
  }
  query.erase(std::string(kSecReturnData));
  query.erase(std::string(kSecMatchLimit));
  query.emplace(kSecReturnAttributes, true);
  query.emplace(kSecMatchLimit, kSecMatchLimitAll);
  KeychainValue listed;
  const OSStatus listing = place.keychain().SecItemCopyMatching(query, &listed);
  require(isDocumented(listing), "a listing ends as documented");
  require(listing != errSecSuccess || secret, "an item that nobody sealed is never listed");
}

}  // namespace
}  // namespace corvane::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  static fuzz::Place place;
  const auto columns = fuzz::columnsIn(fuzz::inputText(bytes, size));
  if (!columns) return 0;
  const KeychainItem item = fuzz::itemOf(*columns);
  const auto& last = columns->back();
  std::optional<SealedSecret> sealed;
  std::optional<std::string_view> secret;
  if (last.front() == 's') {
    secret = last.substr(1);
    sealed = place.key().seal(item, dataFromText(*secret));
    fuzz::require(place.key().open(item, sealed->nonce, sealed->bytes) == dataFromText(*secret),
                  "what was sealed opens");
    KeychainItem other = item;
    other.account = item.account.value_or("") + "x";
    fuzz::require(!place.key().open(other, sealed->nonce, sealed->bytes), "a moved secret does not open");
  }
  place.clear();
  if (fuzz::write(place, *columns, sealed)) fuzz::look(place, item, secret);
  return 0;
}
