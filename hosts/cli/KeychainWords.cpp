#include "KeychainWords.hpp"

namespace corvane::cli {
namespace {

std::string keyringReason(OSStatus status) {
  switch (status) {
    case errSecInteractionNotAllowed:
      return "The keyring is locked.";
    case errSecUserCanceled:
      return "The keyring is locked, and its prompt was dismissed.";
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
      return "Unlock the keyring when it asks or in your keyring program, " + std::string(fileInstead);
    case errSecNotAvailable:
    case errSecAuthFailed:
    case errSecDecode:
      return "Start a keyring such as gnome-keyring and unlock it, " + std::string(fileInstead);
    default:
      return {};
  }
}

std::string fileReason(OSStatus status) {
  switch (status) {
    case errSecAuthFailed:
      return "The key of the keychain's file is missing, incomplete or not the one that the sessions were "
             "saved "
             "with.";
    case errSecDecode:
      return "A session in the keychain's file, or the file itself, is damaged.";
    case errSecIO:
      return "The keychain's file could not be read or written.";
    case errSecNotAvailable:
      return "The keychain's folder or a file in it is not safe to use, is kept busy by another program, or "
             "was "
             "made by a newer version.";
    default:
      return {};
  }
}

constexpr const char* fileFolder = "$XDG_DATA_HOME/corvane, otherwise ~/.local/share/corvane";

std::string fileAdvice(OSStatus status) {
  switch (status) {
    case errSecAuthFailed:
      return "Put the file keychain.key back into the keychain's folder (" + std::string(fileFolder) +
             "). If it is lost, so are the sessions: move the folder away and sign in again.";
    case errSecDecode:
      return "Sign in again, which replaces a damaged session. If that fails too, put a copy of the "
             "keychain's "
             "folder (" +
             std::string(fileFolder) + ") in its place, or move the folder away and sign in again.";
    case errSecIO:
      return "Check that the disk has room, and that the keychain's folder (" + std::string(fileFolder) +
             ") can be written.";
    default:
      return "Check that the keychain's folder (" + std::string(fileFolder) +
             ") is yours and not readable by others, and that no other program keeps it busy.";
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
  if (status == errSecDuplicateItem)
    return "Another program stored a session of the same account at the same moment.";
  if (status == errSecItemNotFound) return "The keychain holds no session for this account.";
  return keychain == KeychainBackend::encryptedFile ? fileReason(status) : keyringReason(status);
}

std::string keychainRemedy(OSStatus status, KeychainBackend keychain) {
  if (status == errSecDuplicateItem)
    return "If that was another sign-in of yours, the account is signed in: `corvane accounts` tells.";
  if (keychain == KeychainBackend::secretService) return keyringRemedy(status);
  return fileAdvice(status);
}

}  // namespace corvane::cli
