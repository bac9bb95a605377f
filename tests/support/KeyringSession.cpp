#include "KeyringSession.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace corvane::test {
namespace {

struct Pipe {
  int read = -1;
  int write = -1;
  Pipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
    read = ends[0];
    write = ends[1];
  }
};

// Ends a command's output; the exit status follows.
constexpr const char* endMark = "--- end of command ";

}  // namespace

KeyringSession::KeyringSession(Keyring keyring) {
  const Pipe commands;
  const Pipe answers;
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, commands.read, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files, answers.write, STDOUT_FILENO);
  std::string program = CORVANE_WITH_KEYRING;
  std::string option = keyring == Keyring::none ? "--no-keyring" : "";
  std::string shell = "bash";
  char* withOption[] = {program.data(), option.data(), shell.data(), nullptr};
  char* without[] = {program.data(), shell.data(), nullptr};
  const int failed = ::posix_spawn(&shell_, program.c_str(), &files, nullptr,
                                   keyring == Keyring::none ? withOption : without, environ);
  posix_spawn_file_actions_destroy(&files);
  ::close(commands.read);
  ::close(answers.write);
  input_ = commands.write;
  output_ = answers.read;
  if (failed != 0) throw std::runtime_error("cannot start " + program);
  ::setenv("DBUS_SESSION_BUS_ADDRESS", run("printf %s \"$DBUS_SESSION_BUS_ADDRESS\"").c_str(), 1);
}

KeyringSession::~KeyringSession() {
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  ::close(input_);
  ::close(output_);
  ::waitpid(shell_, nullptr, 0);
}

std::string KeyringSession::run(const std::string& command) {
  const std::string line = "{ " + command + "\n} 2>&1 </dev/null; echo \"" + endMark + "$?\"\n";
  if (::write(input_, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
    throw std::runtime_error("the session has no shell any more");
  std::string output;
  char buffer[4096];
  for (;;) {
    const auto mark = output.find(endMark);
    if (mark != std::string::npos && output.back() == '\n') {
      const auto status = output.substr(mark + std::string(endMark).size());
      output.resize(mark);
      if (status != "0\n") throw std::runtime_error(command + " failed: " + output);
      return output;
    }
    const auto count = ::read(output_, buffer, sizeof buffer);
    if (count <= 0) throw std::runtime_error("the session ended: " + output);
    output.append(buffer, static_cast<std::size_t>(count));
  }
}

void KeyringSession::lockKeyring() {
  run("dbus-send --session --print-reply --dest=org.freedesktop.secrets /org/freedesktop/secrets "
      "org.freedesktop.Secret.Service.Lock array:objpath:/org/freedesktop/secrets/collection/login");
}

void KeyringSession::unlockKeyring() {
  run("unlock-keyring");
}

}  // namespace corvane::test
