#pragma once

#include <chrono>
#include <future>
#include <memory>

namespace corvane::cli {

/// Waits until the platform is gone: its keychain is closed and its log is written by then. A
/// worker that still holds the last reference may need a moment more than the command, and would be
/// cut off by the end of main().
class PlatformEnd {
 public:
  PlatformEnd() : end_(dropped_->get_future()) {}

  /// For LinuxPlatformOptions::lifetime, once.
  std::shared_ptr<void> token() {
    return {nullptr, [dropped = std::move(dropped_)](void*) { dropped->set_value(); }};
  }

  /// Whether all is gone, at the latest after `limit`: a keyring that answers no more must not keep
  /// the program.
  bool wait(std::chrono::milliseconds limit) {
    return dropped_ || end_.wait_for(limit) == std::future_status::ready;
  }

 private:
  std::shared_ptr<std::promise<void>> dropped_ =
      std::make_shared<std::promise<void>>();  // until it is given out
  std::future<void> end_;
};

}  // namespace corvane::cli
