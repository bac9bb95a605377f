#pragma once

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace corvane::test {

/// The kernel's ids of those of this process's threads that carry one of the names.
inline std::vector<std::string> idsOfThreadsNamed(std::initializer_list<std::string_view> names) {
  std::vector<std::string> ids;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::ifstream(task.path() / "comm") >> name;
    if (std::find(names.begin(), names.end(), name) != names.end()) ids.push_back(task.path().filename());
  }
  return ids;
}

inline long threadsNamed(std::initializer_list<std::string_view> names) {
  return static_cast<long>(idsOfThreadsNamed(names).size());
}

/// How often a thread has gone to sleep; none if it is gone.
inline long sleepsOfThread(const std::string& id) {
  constexpr std::string_view sleeps = "voluntary_ctxt_switches:\t";
  std::ifstream status("/proc/self/task/" + id + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with(sleeps)) return std::stol(line.substr(sleeps.size()));
  return 0;
}

/// Waits for what nobody tells, such as the kernel's forgetting a thread; false after a long time.
inline bool eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

/// How many workers the Linux queues have at most while none is blocked.
inline int firstWorkers() {
  return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 2U, 4U));
}

}  // namespace corvane::test
