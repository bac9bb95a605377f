#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace corvane {

/// What wakes the thread that drives the loop from its sockets. libcurl's own wake-up is a pair of sockets, which costs
/// three times as much.
class Bell {
 public:
  /// Throws std::system_error.
  Bell() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category());
  }
  ~Bell() { ::close(descriptor_); }
  Bell(const Bell&) = delete;
  Bell& operator=(const Bell&) = delete;

  int descriptor() const noexcept { return descriptor_; }
  void ring() const noexcept {
    ::eventfd_write(descriptor_, 1);  // fails only when it has been rung 2^64 times
  }
  /// Makes it silent again.
  void silence() const noexcept {
    eventfd_t rung = 0;
    ::eventfd_read(descriptor_, &rung);
  }

 private:
  int descriptor_;
};

}  // namespace corvane
