#include "Worker.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace corvane::test {
namespace {

std::array<int, 2> makePipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
  return ends;
}

}  // namespace

Worker::Worker(std::vector<std::string> arguments) {
  std::vector<char*> words;
  std::string program = CORVANE_KEYCHAIN_WORKER;
  words.push_back(program.data());
  for (auto& argument : arguments) words.push_back(argument.data());
  words.push_back(nullptr);

  const auto in = makePipe();
  const auto out = makePipe();
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  const int failure = ::posix_spawn(&process_, program.c_str(), &actions, nullptr, words.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(in[0]);
  ::close(out[1]);
  input_ = in[1];
  output_ = out[0];
  if (failure != 0) throw std::system_error(failure, std::generic_category(), program);
}

Worker::~Worker() {
  kill();
  closeInput();
  ::close(output_);
}

std::string Worker::read(std::size_t bytes) {
  std::string text;
  while (text.size() < bytes) {
    char next = 0;
    const auto count = ::read(output_, &next, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    text += next;
  }
  return text;
}

void Worker::go() {
  closeInput();
}

void Worker::closeInput() {
  if (input_ >= 0) ::close(input_);
  input_ = -1;
}

void Worker::kill() {
  if (process_ > 0) ::kill(process_, SIGKILL);
  reap();
}

std::string Worker::finish() {
  closeInput();
  auto rest = read(std::string::npos);
  reap();
  return rest;
}

void Worker::reap() {
  if (process_ <= 0) return;
  int status = 0;
  while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace corvane::test
