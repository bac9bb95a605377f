#include "Terminal.hpp"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

namespace corvane::cli {

namespace {

/// For a terminal or a pipe that another program has set to non-blocking.
void waitUntilWritable(int descriptor) {
  pollfd waiting{descriptor, POLLOUT, 0};
  ::poll(&waiting, 1, -1);
}

}  // namespace

bool isTerminal(int descriptor) {
  return ::isatty(descriptor) == 1;
}

std::size_t terminalColumns(int descriptor) {
  winsize size{};
  return ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void printToStandardError(std::string_view text) {
  while (!text.empty()) {
    const auto count = ::write(STDERR_FILENO, text.data(), text.size());
    if (count > 0)
      text.remove_prefix(static_cast<std::size_t>(count));
    else if (count < 0 && errno == EAGAIN)
      waitUntilWritable(STDERR_FILENO);
    else if (errno != EINTR)
      return;
  }
}

}  // namespace corvane::cli
