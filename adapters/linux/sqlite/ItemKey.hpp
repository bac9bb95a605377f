#pragma once

#include "KeychainItem.hpp"
#include "LockedMemory.hpp"

#include <array>
#include <cstddef>
#include <optional>
#include <span>

namespace corvane {

/// An item's secret as it is stored: XChaCha20-Poly1305 with a random nonce, the item's attributes
/// authenticated too.
struct SealedSecret {
  static constexpr std::size_t nonceSize = 24;

  Data nonce;
  Data bytes;
};

/// The one key of a keychain, in locked memory. Immutable; any thread.
class ItemKey {
 public:
  static constexpr std::size_t size = 32;
  using Identifier = std::array<std::byte, 16>;

  /// A key from the system's random source.
  static ItemKey random();
  /// The key whose bytes these are; `size` of them.
  explicit ItemKey(std::span<const std::byte> bytes);

  std::span<const std::byte> bytes() const noexcept { return memory_.bytes(); }
  /// Tells keys apart and says nothing else of them.
  Identifier identifier() const;

  SealedSecret seal(const KeychainItem& item, const Data& secret) const;
  /// The secret, or nothing unless it was sealed by this key for exactly this item.
  std::optional<Data> open(const KeychainItem& item, std::span<const std::byte> nonce,
                           std::span<const std::byte> sealed) const;
  /// Whether `open` would succeed; decrypts nothing.
  bool authenticates(const KeychainItem& item, std::span<const std::byte> nonce,
                     std::span<const std::byte> sealed) const;

 private:
  ItemKey() : memory_(size) {}
  bool decrypt(unsigned char* target, const KeychainItem& item, std::span<const std::byte> nonce,
               std::span<const std::byte> sealed) const;

  LockedMemory memory_;
};

}  // namespace corvane
