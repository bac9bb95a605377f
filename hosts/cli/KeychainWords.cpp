#include "KeychainWords.hpp"

namespace corvane::cli {
namespace {

std::string keyringReason(OSStatus status) {
  switch (status) {
    case errSecInteractionNotAllowed:
      return "The keyring is locked, and nobody answered when it asked to be unlocked.";
    case errSecUserCanceled:
      return "The keyring is locked, and unlocking it was declined.";
    case errSecNotAvailable:
      return "The desktop's keyring cannot be reached: there is no session bus, no keyring service or no "
             "default "
             "keyring, or the service does not answer.";
    case errSecAuthFailed:
      return "The keyring service refused access.";
    case errSecDecode:
      return "The keyring service gave something that makes no sense.";
    default:
      return {};
  }
}

constexpr const char* fileInstead =
    "or keep sessions in an encrypted file instead: --keychain file (accounts have to sign in again there).";

std::string keyringRemedy(OSStatus status) {
  switch (status) {
    case errSecInteractionNotAllowed:
    case errSecUserCanceled:
      return "Try again and unlock the keyring when it asks, or unlock it in your keyring program; " +
             std::string(fileInstead);
    case errSecNotAvailable:
    case errSecAuthFailed:
    case errSecDecode:
      return "Start a keyring such as gnome-keyring and unlock it, " + std::string(fileInstead) +
             " --log-level error says more.";
    default:
      return {};
  }
}

std::string fileReason(OSStatus status) {
  switch (status) {
    case errSecAuthFailed:
      return "The key of the keychain's file is missing or not its own.";
    case errSecDecode:
      return "The keychain's file, or an item in it, is damaged.";
    case errSecIO:
      return "The keychain's file could not be read or written.";
    case errSecNotAvailable:
      return "The keychain's folder or a file in it is not safe to use, or in use by another program.";
    default:
      return {};
  }
}

}  // namespace

std::string_view keychainOption(KeychainBackend keychain) {
  return keychain == KeychainBackend::encryptedFile ? "file" : "secret-service";
}

std::string keychainName(KeychainBackend keychain) {
  return keychain == KeychainBackend::encryptedFile ? "an encrypted file (--keychain file)"
                                                    : "the desktop's keyring (--keychain secret-service)";
}

std::string keychainReason(OSStatus status, KeychainBackend keychain) {
  if (status == errSecItemNotFound) return "The keychain holds no session for this account.";
  return keychain == KeychainBackend::encryptedFile ? fileReason(status) : keyringReason(status);
}

std::string keychainRemedy(OSStatus status, KeychainBackend keychain) {
  if (keychain == KeychainBackend::secretService) return keyringRemedy(status);
  return "Check that the keychain's folder ($XDG_DATA_HOME/corvane) is yours and not readable by others; "
         "--log-level error says more.";
}

}  // namespace corvane::cli
