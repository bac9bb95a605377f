#include "Terminal.hpp"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

namespace corvane::cli {

namespace {

/// Whether standard error takes a little more; false once the user has interrupted.
bool waitUntilWritable(int interrupt) {
  std::array<pollfd, 2> waiting{{{STDERR_FILENO, POLLOUT, 0}, {interrupt, POLLIN, 0}}};
  while (::poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR) {
  }
  return waiting[0].revents != 0;
}

}  // namespace

bool isTerminal(int descriptor) {
  return ::isatty(descriptor) == 1;
}

std::size_t terminalColumns(int descriptor) {
  winsize size{};
  return ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void printToStandardError(std::string_view text, int interrupt) {
  while (!text.empty() && waitUntilWritable(interrupt)) {
    // poll(2) promises room for this much in a pipe, so that the write does not block.
    const auto count =
        ::write(STDERR_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (count > 0)
      text.remove_prefix(static_cast<std::size_t>(count));
    else if (count < 0 && errno != EAGAIN && errno != EINTR)
      return;
  }
}

}  // namespace corvane::cli
