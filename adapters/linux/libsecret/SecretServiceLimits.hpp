#pragma once

#include <chrono>

namespace corvane {

/// How long the Secret Service keychain waits for whom.
struct SecretServiceLimits {
  /// For each reply of the bus or the service; libsecret would wait for up to 50 seconds.
  std::chrono::milliseconds reply = std::chrono::seconds(10);
  /// For the user, once a prompt is shown.
  std::chrono::milliseconds prompt = std::chrono::seconds(120);
  /// For how long the user's answer, or the service's silence, stands for calls that begin after it.
  std::chrono::milliseconds answer = std::chrono::seconds(1);
};

}  // namespace corvane
