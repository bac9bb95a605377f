#include "Output.hpp"

#include "../Failure.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <system_error>

namespace corvane::cli {
namespace {

constexpr std::size_t bufferSize = 64 * 1024;

Failure cannotWrite(int error) {
  Failure failure;
  failure.kind = "output";
  failure.headline = "Could not write the output.";
  failure.why = error == EBADF ? "Standard output is closed, or open for reading only."
                               : std::generic_category().message(error) + ".";
  failure.code = error;
  failure.domain = "NSPOSIXErrorDomain";
  if (error == ENOSPC) failure.remedy = "Make room on the disk and run the command again.";
  if (error == EBADF)
    failure.remedy = "Run the command with an output; to see none, add `>/dev/null`.";
  return failure;
}

}  // namespace

void Output::requireOpen() const {
  const int flags = ::fcntl(descriptor_, F_GETFL);
  if (flags < 0 || (flags & O_ACCMODE) == O_RDONLY) throw cannotWrite(EBADF);
}

void Output::lineOfDeed(std::string_view text) {
  line(text);
  try {
    flush();
  } catch (Failure& failure) {
    failure.headline = "Could not write the output. It was done all the same: " + std::string(text);
    failure.remedy.clear();
    throw;
  }
}

void Output::line(std::string_view text) {
  buffer_.append(text).append("\n");
  if (buffer_.size() >= bufferSize) flush();
}

void Output::text(std::string_view text) {
  buffer_.append(text);
}

void Output::flush() {
  std::string_view rest = buffer_;
  while (!rest.empty()) {
    waitUntilWritable();
    // poll(2) promises room for this much in a pipe, so that the write does not block and Ctrl-C is seen.
    const auto count = ::write(descriptor_, rest.data(), std::min<std::size_t>(rest.size(), PIPE_BUF));
    if (count >= 0) {
      rest.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EPIPE) {
      buffer_.clear();
      throw OutputClosed();
    } else if (errno != EINTR && errno != EAGAIN) {
      const int error = errno;
      buffer_.clear();
      throw cannotWrite(error);
    }
  }
  buffer_.clear();
}

void Output::waitUntilWritable() const {
  std::array<pollfd, 2> waiting{{{descriptor_, POLLOUT, 0}, {interrupt_, POLLIN, 0}}};
  while (::poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR) {
  }
  if (waiting[1].revents != 0) throw Interrupted();
}

}  // namespace corvane::cli
