#include "XdgOpenPresenter.hpp"

#include "SignalsBlocked.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <optional>
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

std::optional<pid_t> spawn(std::string program, std::string argument) {
  char* arguments[] = {program.data(), argument.data(), nullptr};
  pid_t child = 0;
  if (posix_spawnp(&child, program.c_str(), SpawnActions().get(), SpawnAttributes().get(), arguments,
                   environ) != 0)
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

class Presentation final : public Cancellable {
 public:
  Presentation(XdgOpenPresenter::ShowURL showURL, std::string url)
      : showURL_(std::move(showURL)), url_(std::move(url)) {}
  void cancel() noexcept override { isOver_ = true; }
  void fail() const {
    if (!isOver_) showURL_(url_);
  }

 private:
  const XdgOpenPresenter::ShowURL showURL_;
  const std::string url_;
  std::atomic<bool> isOver_{false};
};

}  // namespace

XdgOpenPresenter::XdgOpenPresenter(ShowURL showURL, std::string opener)
    : showURL_(std::move(showURL)), opener_(std::move(opener)) {}

std::shared_ptr<Cancellable> XdgOpenPresenter::present(const std::string& url, const WindowHandle&,
                                                       UniqueFunction<void()>) {
  auto presentation = std::make_shared<Presentation>(showURL_, url);
  const auto child = spawn(opener_, url);
  if (!child) {
    presentation->fail();
    return presentation;
  }
  try {
    const SignalsBlocked signals;
    std::thread([presentation, opener = *child] {
      pthread_setname_np(pthread_self(), "corvane-browser");
      if (hasFailed(opener)) presentation->fail();
    }).detach();
  } catch (const std::system_error&) {
    presentation->fail();  // without a thread nobody will know, so the URL is shown in any case
  }
  return presentation;
}

}  // namespace corvane
