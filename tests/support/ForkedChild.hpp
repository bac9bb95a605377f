#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

namespace corvane::test {

/// Runs `check` in a copy of this process that fork(2) made, without exec(2). Whether it returned
/// true; a child that hangs is ended after 30 seconds and counts as false.
inline bool holdsInForkedChild(const std::function<bool()>& check) {
  const pid_t child = ::fork();
  if (child == 0) {
    std::signal(SIGALRM, SIG_DFL);
    ::alarm(30);
    ::_exit(check() ? 0 : 1);
  }
  int status = 0;
  return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

}  // namespace corvane::test
