#include "ItemKey.hpp"

#include <sodium.h>

#include <cstring>

namespace corvane {
namespace {

static_assert(ItemKey::size == crypto_aead_xchacha20poly1305_ietf_KEYBYTES);
static_assert(ItemKey::size == crypto_kdf_KEYBYTES);
static_assert(SealedSecret::nonceSize == crypto_aead_xchacha20poly1305_ietf_NPUBBYTES);

constexpr std::size_t tagSize = crypto_aead_xchacha20poly1305_ietf_ABYTES;

// Eight characters that separate this use of the key from any other.
constexpr char identifierContext[] = "CrvKeyID";
static_assert(sizeof identifierContext == crypto_kdf_CONTEXTBYTES + 1);

unsigned char* raw(std::byte* bytes) {
  return reinterpret_cast<unsigned char*>(bytes);
}
const unsigned char* raw(const std::byte* bytes) {
  return reinterpret_cast<const unsigned char*>(bytes);
}

}  // namespace

ItemKey::ItemKey(std::span<const std::byte> bytes) : ItemKey() {
  std::memcpy(memory_.bytes().data(), bytes.first<size>().data(), size);
}

ItemKey ItemKey::random() {
  ItemKey key;
  randombytes_buf(key.memory_.bytes().data(), size);
  return key;
}

ItemKey::Identifier ItemKey::identifier() const {
  Identifier identifier{};
  crypto_kdf_derive_from_key(raw(identifier.data()), identifier.size(), 1, identifierContext,
                             raw(bytes().data()));
  return identifier;
}

SealedSecret ItemKey::seal(const KeychainItem& item, const Data& secret) const {
  SealedSecret sealed{Data(SealedSecret::nonceSize), Data(secret.size() + tagSize)};
  randombytes_buf(sealed.nonce.data(), sealed.nonce.size());
  const auto associated = item.associatedData();
  crypto_aead_xchacha20poly1305_ietf_encrypt(raw(sealed.bytes.data()), nullptr, raw(secret.data()),
                                             secret.size(), raw(associated.data()), associated.size(),
                                             nullptr, raw(sealed.nonce.data()), raw(bytes().data()));
  return sealed;
}

std::optional<Data> ItemKey::open(const KeychainItem& item, std::span<const std::byte> nonce,
                                  std::span<const std::byte> sealed) const {
  if (sealed.size() < tagSize) return std::nullopt;
  // One byte of room even for an empty secret, because a null target means to decrypt nothing.
  Data secret(sealed.size() - tagSize + 1);
  if (!decrypt(raw(secret.data()), item, nonce, sealed)) return std::nullopt;
  secret.pop_back();
  return secret;
}

bool ItemKey::authenticates(const KeychainItem& item, std::span<const std::byte> nonce,
                            std::span<const std::byte> sealed) const {
  return decrypt(nullptr, item, nonce, sealed);
}

bool ItemKey::decrypt(unsigned char* target, const KeychainItem& item, std::span<const std::byte> nonce,
                      std::span<const std::byte> sealed) const {
  if (nonce.size() != SealedSecret::nonceSize || sealed.size() < tagSize) return false;
  const auto associated = item.associatedData();
  const auto length = sealed.size() - tagSize;
  return crypto_aead_xchacha20poly1305_ietf_decrypt_detached(
             target, nullptr, raw(sealed.data()), length, raw(sealed.data() + length), raw(associated.data()),
             associated.size(), raw(nonce.data()), raw(bytes().data())) == 0;
}

}  // namespace corvane
