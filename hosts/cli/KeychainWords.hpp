#pragma once

#include <CorvaneLinux/KeychainBackend.hpp>
#include <CorvanePlatform/Keychain.hpp>

#include <string>
#include <string_view>

namespace corvane::cli {

// What a keychain's status means to the program's user, which depends on the keychain.

/// The word for the keychain on the command line.
std::string_view keychainOption(KeychainBackend keychain);

/// What the keychain is, for people.
std::string keychainName(KeychainBackend keychain);

/// Why nothing could be read or written; empty where the error's own text serves.
std::string keychainReason(OSStatus status, KeychainBackend keychain);

/// What the user can do about it; may be empty.
std::string keychainRemedy(OSStatus status, KeychainBackend keychain);

}  // namespace corvane::cli
