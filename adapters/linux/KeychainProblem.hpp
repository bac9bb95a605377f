#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include <stdexcept>
#include <string>

namespace corvane {

/// Why a keychain operation failed: a status for the caller and one sentence for the log. The sentence names
/// files and what to do about them, never an account or a secret.
class KeychainProblem : public std::runtime_error {
 public:
  KeychainProblem(OSStatus status, const std::string& sentence) : runtime_error(sentence), status_(status) {}

  OSStatus status() const noexcept { return status_; }

 private:
  OSStatus status_;
};

}  // namespace corvane
