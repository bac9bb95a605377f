#pragma once

#include <sys/types.h>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace corvane::cli::test {

struct ProgramSetup {
  std::vector<std::string> command;                     // program and arguments
  std::map<std::string, std::string> environment = {};  // beside this process's own
  bool errorsToTerminal = false;                        // standard error is a terminal
  std::string outputFile = {};                          // standard output goes there, unread
  std::vector<int> closed = {};                         // standard descriptors that are not open
  std::size_t readAtMost = SIZE_MAX;  // bytes of output; then the reader goes away, as `head` does
};

struct ProgramResult {
  int exitCode = -1;  // 1000 + the signal that ended it
  std::string output;
  std::string errors;
};

/// A running program, read by threads so that it never waits for its reader. Killed when dropped unfinished.
class Program {
 public:
  explicit Program(const ProgramSetup& setup);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t process() const { return process_; }
  void signal(int number) const;
  /// Waits until standard error has a whole line that begins so, and gives it; empty when it ends without.
  std::string waitForErrorLine(const std::string& beginning);
  ProgramResult finish();

 private:
  void readOutput(int descriptor, std::size_t limit);
  void readErrors(int descriptor);
  void join();

  pid_t process_ = -1;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string output_;
  std::string errors_;
  bool errorsEnded_ = false;
  std::thread outputReader_;
  std::thread errorReader_;
};

}  // namespace corvane::cli::test
