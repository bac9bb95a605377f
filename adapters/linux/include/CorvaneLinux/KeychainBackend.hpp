#pragma once

namespace corvane {

/// Where sessions are kept. Nothing ever moves from one to another by itself.
enum class KeychainBackend {
  /// The keyring of the user's desktop (`org.freedesktop.secrets`). Needs a session bus and a keyring service; a locked
  /// keyring asks the user to unlock it.
  secretService,
  /// An encrypted file of Corvane's own, for systems without a desktop. It keeps sessions from other users, but not
  /// from programs that run as the same user.
  encryptedFile,
};

}  // namespace corvane
