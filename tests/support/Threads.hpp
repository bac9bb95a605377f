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

namespace corvane::test {

/// How many of this process's threads carry one of the names.
inline long threadsNamed(std::initializer_list<std::string_view> names) {
  long count = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::ifstream(task.path() / "comm") >> name;
    if (std::find(names.begin(), names.end(), name) != names.end()) ++count;
  }
  return count;
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

/// How many workers the Linux queues have while none is blocked.
inline int firstWorkers() {
  return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 2U, 4U));
}

}  // namespace corvane::test
