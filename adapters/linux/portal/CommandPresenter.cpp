#include "CommandPresenter.hpp"

#include "Presentation.hpp"
#include "SignalsBlocked.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

namespace corvane {

namespace {

class SpawnActions {
 public:
  SpawnActions() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
  }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

// A session of its own, no signal blocked, none ignored.
class SpawnAttributes {
 public:
  SpawnAttributes() {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &all);
    posix_spawnattr_setflags(&attributes_,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

// What the launcher gave the host, or the host its window, so that the browser may come to the front.
constexpr const char* activationVariable = "XDG_ACTIVATION_TOKEN=";

std::vector<char*> environmentWith(std::string& activation) {
  std::vector<char*> variables;
  const std::string_view name = activationVariable;
  for (char** variable = environ; *variable; ++variable)
    if (activation.empty() || !std::string_view(*variable).starts_with(name)) variables.push_back(*variable);
  if (!activation.empty()) variables.push_back(activation.data());
  variables.push_back(nullptr);
  return variables;
}

std::optional<pid_t> spawn(std::vector<std::string> command, const std::string& activationToken) {
  std::vector<char*> arguments;
  for (auto& word : command) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  std::string activation = activationToken.empty() ? "" : activationVariable + activationToken;
  pid_t child = 0;
  if (posix_spawnp(&child, arguments.front(), SpawnActions().get(), SpawnAttributes().get(), arguments.data(),
                   environmentWith(activation).data()) != 0)
    return std::nullopt;
  return child;
}

// A status that somebody else has collected, or that SIGCHLD's handling discards, tells nothing of a failure.
bool hasFailed(pid_t child) {
  int status = 0;
  pid_t reaped = -1;
  do reaped = waitpid(child, &status, 0);
  while (reaped < 0 && errno == EINTR);
  return reaped == child && !(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace

CommandPresenter::CommandPresenter(std::shared_ptr<Presenter> next, std::vector<std::string> command)
    : next_(std::move(next)), command_(std::move(command)) {}

std::shared_ptr<Cancellable> CommandPresenter::present(const std::string& url, const WindowHandle& window,
                                                       UniqueFunction<void()> dismissed) {
  auto presentation = std::make_shared<Presentation>(url, window, std::move(dismissed), next_);
  auto command = command_;
  command.push_back(url);
  const auto child = spawn(std::move(command), window.activationToken());
  if (!child) {
    presentation->passOn();
    return presentation;
  }
  try {
    const SignalsBlocked signals;
    std::thread([presentation, program = *child] {
      pthread_setname_np(pthread_self(), "corvane-browser");
      if (hasFailed(program)) presentation->passOn();
    }).detach();
  } catch (const std::system_error&) {
    presentation->passOn();  // without a thread nobody will know, so the page is presented in any case
  }
  return presentation;
}

}  // namespace corvane
