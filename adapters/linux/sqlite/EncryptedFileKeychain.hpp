#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace corvane {

class KeychainFolder;
class KeychainVault;

/// A keychain in a file of its own, for systems without one: a SQLite database, each secret sealed
/// with XChaCha20-Poly1305 under a random key that lies in a file beside it. It keeps sessions from other
/// users and from whoever gets hold of the database alone, not from programs that run as the same user.
///
/// Lifetime: construction touches no file. Lookups and deletions create none; the first addition makes the
/// folder (0700), the database and the key (0600). Threads: any, also at once; they take turns. Other
/// processes may use the same folder at the same time. After fork() a child may use a keychain that the parent
/// has not used; one that it has used is errSecNotAvailable there, and goes with the process. Cancellation: none; a call that waits for another
/// process's lock gives up after `patience`. Errors, each but the first four told to `onProblem` too, on the
/// calling thread, in a sentence that says what to do:
///
/// | status               | when |
/// |----------------------|---------------------------------------------------------------------------------------|
/// | errSecSuccess        | done; what was written survives a crash and a power failure |
/// | errSecItemNotFound   | there is no such item, nor a damaged one that the query means |
/// | errSecDuplicateItem  | the item is there already, perhaps since another process saved it |
/// | errSecAllocate       | memory ran out |
/// | errSecParam          | a key of the query is unknown, misplaced or missing, or its value is of a wrong kind |
/// | errSecAuthFailed     | the key is lost, truncated or another one, while there are items sealed with it |
/// | errSecDecode         | an item or the whole database is damaged, or an item was swapped with another |
/// | errSecIO             | the disk fails; or it is full or read-only, and the call would write or a killed process left a journal |
/// | errSecNotAvailable   | the folder or a file in it is a symbolic link, belongs to someone else or is open to others; the file is of a newer version; the path is too long for SQLite; another process keeps it locked |
///
/// A damaged item is one that the query means if its attributes match, or if its secret was sealed for the
/// attributes that the query names. Others are not looked at: they may be another program's.
///
/// What cannot be read is never removed, except one damaged item by a deletion that names it.
///
/// Queries: only generic passwords. `kSecReturnData` together with `kSecMatchLimitAll` is errSecParam.
/// Without any `kSecReturn…` the result is left alone. Attributes are returned without decrypting anything,
/// but authenticated; a listing leaves damaged items out, tells `onProblem`, and fails with errSecDecode when
/// nothing else is left.
class EncryptedFileKeychain : public Keychain {
 public:
  using ProblemHandler = std::function<void(const std::string& sentence)>;

  /// An empty folder means `$XDG_DATA_HOME/corvane`, or `~/.local/share/corvane`.
  explicit EncryptedFileKeychain(const std::filesystem::path& folder = {}, ProblemHandler onProblem = {},
                                 std::chrono::milliseconds patience = std::chrono::seconds(5));
  ~EncryptedFileKeychain() override;

  OSStatus SecItemCopyMatching(const KeychainDictionary& query, KeychainValue* result) override;
  OSStatus SecItemAdd(const KeychainDictionary& attributes, KeychainValue* result) override;
  OSStatus SecItemDelete(const KeychainDictionary& query) override;

 private:
  void refuseAfterFork();
  template <class Operation>
  OSStatus perform(Operation operation);
  template <class Operation>
  OSStatus performAlone(Operation operation, std::string& remark);
  void tell(const char* sentence) const noexcept;
  KeychainVault* vault(bool create);

  const ProblemHandler onProblem_;
  const std::chrono::milliseconds patience_;
  const std::unique_ptr<const KeychainFolder> folder_;
  std::atomic<pid_t> user_ = 0;  // the process that used this first
  std::mutex mutex_;
  std::unique_ptr<KeychainVault> vault_;
};

}  // namespace corvane
