#pragma once

#include <dlfcn.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace bench {

/// What the process has used so far.
struct Usage {
  double cpu = 0;   // ms, user and system
  double wall = 0;  // ms
  /// Calls of malloc and its like, C libraries' included; counted only when bench-allocations is preloaded.
  unsigned long long allocations = 0;

  static Usage now() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    const auto milliseconds = [](const timeval& time) {
      return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    Usage usage;
    usage.cpu = milliseconds(used.ru_utime) + milliseconds(used.ru_stime);
    usage.wall =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch())
            .count();
    using Count = unsigned long long (*)();
    if (void* const symbol = dlsym(RTLD_DEFAULT, "corvane_bench_allocations"))
      usage.allocations = reinterpret_cast<Count>(symbol)();
    return usage;
  }
};

/// The most memory that the process has had, in KiB. Unlike ru_maxrss it begins anew with the program.
inline long peakKiB() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmHWM:")) return std::strtol(line.c_str() + std::strlen("VmHWM:"), nullptr, 10);
  return 0;
}

/// The one line that bench/run reads: what was used since `start`.
inline void report(const Usage& start, std::size_t files) {
  const Usage end = Usage::now();
  std::printf(R"({"files": %zu, "cpu": %.3f, "wall": %.3f, "peak": %ld, "allocations": %llu})"
              "\n",
              files, end.cpu - start.cpu, end.wall - start.wall, peakKiB(),
              end.allocations - start.allocations);
}

}  // namespace bench
