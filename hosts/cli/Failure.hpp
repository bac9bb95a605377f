#pragma once

#include "ExitCode.hpp"

#include <Corvane/AnyError.hpp>
#include <CorvaneLinux/KeychainBackend.hpp>
#include <CorvanePlatform/Keychain.hpp>

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

namespace corvane::cli {

/// Why a command ends without having done its work, in words for its user. Thrown by commands, told by ErrorReport.
struct Failure : std::exception {
  ExitCode exitCode = ExitCode::other;
  std::string kind = "other";
  std::string headline;  // what could not be done
  std::string why;       // may be empty
  std::string remedy;    // what the user can do; may be empty
  std::string domain = "CorvaneCLI";
  std::int64_t code = 0;
  std::string message;                 // the error's own text, for programs; the headline when empty
  std::string fileID;                  // of the file concerned, if it is about one
  std::optional<OSStatus> ofKeychain;  // if the keychain is what failed

  const char* what() const noexcept override { return headline.c_str(); }

  /// The command line asks for something that cannot be.
  static Failure usage(std::string what, std::string remedy = "Run `corvane --help` to see how it is used.");
  /// Nobody is signed in, or not the account that was asked for.
  static Failure notSignedIn(std::string what);
  /// Ctrl-C, for programs that wait for an answer.
  static Failure interrupted();
  /// The module's own error, met while doing something, as in "list the files of ada@example.com".
  /// `keychain` is the one in use: what to do about its errors depends on it. `fileID` is empty when it is not about
  /// one file.
  static Failure of(const AnyError& error, const std::string& doing,
                    KeychainBackend keychain = KeychainBackend::secretService,
                    const std::string& fileID = {});
};

/// Thrown where the work stopped because the user pressed Ctrl-C.
struct Interrupted {};

}  // namespace corvane::cli
