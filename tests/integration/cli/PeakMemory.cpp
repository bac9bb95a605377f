// Usage: corvane_peak_memory REPORT PROGRAM ARGUMENT…
// Runs the program, writes its peak resident set in KiB to REPORT and ends with its exit code.
//
// A process of its own because the kernel counts the memory of whoever starts a program towards that program's peak:
// started from here, that is next to nothing.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const pid_t child = fork();
  if (child == 0) {
    execv(argv[2], argv + 2);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child) return 1;
  std::FILE* report = std::fopen(argv[1], "w");
  if (!report) return 1;
  std::fprintf(report, "%ld\n", usage.ru_maxrss);
  std::fclose(report);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
