#include "Startup.hpp"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

namespace corvane::cli {

void protectMemory() {
  // RLIMIT_CORE would do less (a core_pattern that is a program ignores it) and would reach the
  // browser as well.
  ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

void dropKeyLog() {
  ::unsetenv("SSLKEYLOGFILE");
}

void openStandardDescriptors() {
  constexpr std::array<std::pair<int, int>, 3> wanted{
      {{STDIN_FILENO, O_RDONLY}, {STDOUT_FILENO, O_RDONLY}, {STDERR_FILENO, O_WRONLY}}};
  for (const auto& [descriptor, mode] : wanted) {
    if (::fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF) continue;
    // open(2) gives the lowest free number, which is this one.
    if (::open("/dev/null", mode) != descriptor) std::abort();
  }
}

}  // namespace corvane::cli
