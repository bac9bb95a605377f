#include "Browser.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <array>

namespace corvane::cli {

bool openInBrowser(const std::string& url, const sigset_t& signals) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&files, descriptor, "/dev/null", O_RDWR, 0);

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t ignoredHere;  // SIGPIPE is ignored by this program only
  sigemptyset(&ignoredHere);
  sigaddset(&ignoredHere, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &ignoredHere);
  posix_spawnattr_setsigmask(&attributes, &signals);
  posix_spawnattr_setflags(
      &attributes, static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSID));

  std::string program = "xdg-open";
  std::string address = url;
  const std::array<char*, 3> arguments{program.data(), address.data(), nullptr};
  pid_t child = 0;
  const int failed = ::posix_spawnp(&child, program.c_str(), &files, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return failed == 0;  // the child is not waited for: it may be the browser itself
}

}  // namespace corvane::cli
