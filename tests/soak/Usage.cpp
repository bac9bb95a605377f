#include "Usage.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

namespace corvane::soak {
namespace {

// Pages are about 0.5 MiB each and ten are under way at any time.
constexpr std::size_t memoryMoods = 16 * 1024;  // KiB
constexpr std::size_t descriptorMoods = 16;     // connections that are just being replaced, and ten refreshes
constexpr std::size_t threadMoods = 4;          // workers beyond the usual ones

std::size_t statusNumber(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with(name)) return std::stoul(line.substr(name.size()));
  return 0;
}

Usage mostOf(std::vector<Usage>::const_iterator first, std::vector<Usage>::const_iterator last) {
  Usage most;
  for (; first != last; ++first) {
    most.memoryKiB = std::max(most.memoryKiB, first->memoryKiB);
    most.descriptors = std::max(most.descriptors, first->descriptors);
    most.threads = std::max(most.threads, first->threads);
  }
  return most;
}

}  // namespace

Usage Usage::now() {
  const auto descriptors = std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                         std::filesystem::directory_iterator());
  return {statusNumber("VmRSS:"), static_cast<std::size_t>(descriptors), statusNumber("Threads:")};
}

Trend Trend::of(const std::vector<Usage>& samples) {
  const auto quarter = static_cast<std::ptrdiff_t>(samples.size() / 4);
  return {mostOf(samples.begin() + quarter, samples.begin() + 2 * quarter),
          mostOf(samples.end() - quarter, samples.end())};
}

bool Trend::isFlat() const {
  return late.memoryKiB <= early.memoryKiB + memoryMoods &&
         late.descriptors <= early.descriptors + descriptorMoods &&
         late.threads <= early.threads + threadMoods;
}

}  // namespace corvane::soak
