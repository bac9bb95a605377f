#include "asio/ThreadState.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string_view>

namespace corvane {

bool isRunnable(pid_t thread) noexcept {
  std::array<char, 64> path{};
  std::snprintf(path.data(), path.size(), "/proc/self/task/%d/stat", static_cast<int>(thread));
  const int file = ::open(path.data(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  std::array<char, 128> buffer{};
  const auto size = ::read(file, buffer.data(), buffer.size());
  ::close(file);
  if (size <= 0) return false;

  // "TID (name) S ...", and the name may hold parentheses itself.
  const std::string_view line(buffer.data(), static_cast<std::size_t>(size));
  const auto name = line.rfind(')');
  if (name == line.npos || name + 2 >= line.size()) return false;
  return line[name + 2] == 'R';
}

}  // namespace corvane
