#pragma once

#include <string>
#include <vector>

namespace corvane::test {

/// A running worker process (see KeychainWorker.cpp); killed when dropped.
class Worker {
 public:
  explicit Worker(std::vector<std::string> arguments);
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker();

  /// Waits for so many bytes of output; fewer when it ends before.
  std::string read(std::size_t bytes);
  /// Ends the worker's input, which it may wait for.
  void go();
  void kill();
  /// All further output, until the worker ends.
  std::string finish();
  /// After `finish`.
  int exitCode() const { return exitCode_; }

 private:
  void closeInput();
  void reap();

  int process_ = -1;
  int input_ = -1;
  int output_ = -1;
  int exitCode_ = -1;
};

/// The worker's exit code when the system does not let it restrict itself as asked.
inline constexpr int workerNotPermitted = 77;

}  // namespace corvane::test
