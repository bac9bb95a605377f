#include "Program.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace corvane::cli::test {
namespace {

struct Channel {
  int here = -1;
  int there = -1;
};

Channel pipeChannel() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
  return {ends[0], ends[1]};
}

Channel terminalChannel() {
  const int here = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (here < 0 || ::grantpt(here) != 0 || ::unlockpt(here) != 0) throw std::runtime_error("posix_openpt");
  char name[128];
  if (::ptsname_r(here, name, sizeof name) != 0) throw std::runtime_error("ptsname_r");
  return {here, ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC)};
}

std::vector<std::string> environmentWith(std::map<std::string, std::string> changes) {
  std::vector<std::string> entries;
  for (char** entry = environ; *entry; ++entry) {
    const std::string text = *entry;
    if (!changes.contains(text.substr(0, text.find('=')))) entries.push_back(text);
  }
  for (const auto& [name, value] : changes) entries.push_back(name + "=" + value);
  return entries;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> out;
  for (auto& text : texts) out.push_back(text.data());
  out.push_back(nullptr);
  return out;
}

}  // namespace

Program::Program(const ProgramSetup& setup) {
  const Channel errors = setup.errorsToTerminal ? terminalChannel() : pipeChannel();
  const Channel output = setup.outputFile.empty()
                             ? pipeChannel()
                             : Channel{-1, ::open(setup.outputFile.c_str(), O_WRONLY | O_CLOEXEC)};
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&files, output.there, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&files, errors.there, STDERR_FILENO);
  for (const int descriptor : setup.closed) posix_spawn_file_actions_addclose(&files, descriptor);
  auto command = setup.command;
  auto environment = environmentWith(setup.environment);
  const int failed = ::posix_spawn(&process_, command.front().c_str(), &files, nullptr,
                                   pointers(command).data(), pointers(environment).data());
  posix_spawn_file_actions_destroy(&files);
  ::close(output.there);
  ::close(errors.there);
  if (failed != 0) throw std::runtime_error("cannot start " + command.front());
  if (output.here >= 0)
    outputReader_ = std::thread([this, output, limit = setup.readAtMost] { readOutput(output.here, limit); });
  errorReader_ = std::thread([this, errors] { readErrors(errors.here); });
}

Program::~Program() {
  if (process_ > 0) {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  join();
}

void Program::signal(int number) const {
  ::kill(process_, number);
}

std::string Program::waitForErrorLine(const std::string& beginning) {
  std::unique_lock lock(mutex_);
  for (;;) {
    for (std::size_t start = 0, end; (end = errors_.find('\n', start)) != std::string::npos; start = end + 1)
      if (errors_.compare(start, beginning.size(), beginning) == 0) return errors_.substr(start, end - start);
    if (errorsEnded_) return {};
    changed_.wait(lock);
  }
}

ProgramResult Program::finish() {
  int status = 0;
  ::waitpid(process_, &status, 0);
  process_ = -1;
  join();
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), output_, errors_};
}

void Program::readOutput(int descriptor, std::size_t limit) {
  std::array<char, 65536> buffer;
  for (std::size_t left = limit; left > 0;) {
    const auto count = ::read(descriptor, buffer.data(), std::min(left, buffer.size()));
    if (count <= 0) break;
    output_.append(buffer.data(), static_cast<std::size_t>(count));
    left -= static_cast<std::size_t>(count);
  }
  ::close(descriptor);
}

void Program::readErrors(int descriptor) {
  std::array<char, 4096> buffer;
  for (;;) {
    const auto count = ::read(descriptor, buffer.data(), buffer.size());  // a terminal's end is EIO
    const std::lock_guard lock(mutex_);
    if (count > 0) errors_.append(buffer.data(), static_cast<std::size_t>(count));
    errorsEnded_ = count <= 0;
    changed_.notify_all();
    if (errorsEnded_) break;
  }
  ::close(descriptor);
}

void Program::join() {
  if (outputReader_.joinable()) outputReader_.join();
  if (errorReader_.joinable()) errorReader_.join();
}

}  // namespace corvane::cli::test
