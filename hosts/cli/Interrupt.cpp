#include "Interrupt.hpp"

#include "ExitCode.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace corvane::cli {
namespace {

bool isIgnored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/// A shell script that runs a command in the background has it ignore Ctrl-C; blocking would end
/// that.
sigset_t interruptingSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGINT, SIGTERM})
    if (!isIgnored(signal)) sigaddset(&set, signal);
  return set;
}

int checked(int descriptor, const char* what) {
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), what);
  return descriptor;
}

void raise(int eventDescriptor) {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(eventDescriptor, &one, sizeof one);
}

}  // namespace

Interrupt::Interrupt() {
  const sigset_t set = interruptingSignals();
  pthread_sigmask(SIG_BLOCK, &set, &former_);
  signals_ = checked(::signalfd(-1, &set, SFD_CLOEXEC), "signalfd");
  stop_ = checked(::eventfd(0, EFD_CLOEXEC), "eventfd");
  happened_ = checked(::eventfd(0, EFD_CLOEXEC), "eventfd");
  thread_ = std::thread([this] { run(); });
}

Interrupt::~Interrupt() {
  raise(stop_);
  thread_.join();
  for (const int descriptor : {signals_, stop_, happened_}) ::close(descriptor);
  pthread_sigmask(SIG_SETMASK, &former_, nullptr);
}

bool Interrupt::happened() const {
  const std::lock_guard lock(mutex_);
  return flag_;
}

std::unique_ptr<Interrupt::Watch> Interrupt::watch(std::function<void()> onInterrupt) {
  const std::lock_guard lock(mutex_);
  if (flag_) onInterrupt();
  return std::make_unique<Watch>(*this, watchers_.insert(watchers_.end(), std::move(onInterrupt)));
}

Interrupt::Watch::~Watch() {
  const std::lock_guard lock(owner_.mutex_);
  owner_.watchers_.erase(place_);
}

void Interrupt::run() {
  std::array<pollfd, 2> waiting{{{signals_, POLLIN, 0}, {stop_, POLLIN, 0}}};
  for (;;) {
    if (::poll(waiting.data(), waiting.size(), -1) < 0) continue;  // EINTR is all that can happen here
    if (waiting[1].revents != 0) return;
    signalfd_siginfo signal{};
    if (::read(signals_, &signal, sizeof signal) == sizeof signal) interrupted();
  }
}

void Interrupt::interrupted() {
  const std::lock_guard lock(mutex_);
  if (flag_) ::_exit(static_cast<int>(ExitCode::interrupted));
  flag_ = true;
  raise(happened_);
  for (const auto& watcher : watchers_) watcher();
}

}  // namespace corvane::cli
