#pragma once

#include "KeyFile.hpp"
#include "KeychainItem.hpp"
#include "KeychainQuery.hpp"
#include "LockedMemory.hpp"
#include "WALIndex.hpp"

#include <cstddef>
#include <optional>
#include <span>

namespace corvane {

/// The secret that was read last, in locked memory, so that asking again for what has not changed costs neither a
/// transaction nor a decryption. One thread at a time.
class RememberedSecret {
 public:
  /// Larger ones are not kept: what may be locked is little (RLIMIT_MEMLOCK). Sessions have some 2 KB.
  static constexpr std::size_t largest = 8 * 1024;

  /// What an answer depends on besides the question: the last commit, and the key.
  struct Moment {
    WALIndex::Header commit;
    KeyFile::Version key;

    bool operator==(const Moment&) const = default;
  };

  struct Answer {
    const KeychainItem& item;
    std::span<const std::byte> secret;  // until it is forgotten
  };

  /// The answer to the question that was asked last.
  std::optional<Answer> recall(const KeychainQuery& query) const;
  /// Forgets the one before.
  void remember(const Moment& moment, const KeychainQuery& query, const KeychainItem& item,
                std::span<const std::byte> secret);
  void forgetUnless(const std::optional<Moment>& moment) noexcept;
  /// Wipes the secret.
  void forget() noexcept;

 private:
  std::optional<Moment> moment_;
  KeychainQuery query_;
  KeychainItem item_;
  std::optional<LockedMemory> memory_;
  std::size_t size_ = 0;
};

}  // namespace corvane
