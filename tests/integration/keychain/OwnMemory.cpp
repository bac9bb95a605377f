#include "OwnMemory.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace corvane::test {
namespace {

constexpr unsigned char mask = 0xa5;
// Beyond that lies only what sanitizers keep their notes in.
constexpr std::uintptr_t largestRegion = std::uintptr_t{1} << 28;

struct Region {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
};

std::vector<Region> writableRegions() {
  std::vector<Region> regions;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream words(line);
    Region region;
    char dash = 0;
    std::string rights;
    words >> std::hex >> region.begin >> dash >> region.end >> rights;
    if (rights.starts_with("rw") && region.end - region.begin < largestRegion) regions.push_back(region);
  }
  return regions;
}

}  // namespace

Marker::Marker() {
  std::random_device random;
  for (auto& byte : masked_) byte = static_cast<unsigned char>(random());
}

void Marker::write(std::byte* target) const {
  for (std::size_t i = 0; i < size; ++i) target[i] = static_cast<std::byte>(masked_[i] ^ mask);
}

std::size_t Marker::count() const {
  // What is read from the buffer itself is the zeros that were left in it.
  static std::array<unsigned char, 64 * 1024> buffer;
  const int memory = ::open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
  if (memory < 0) throw std::runtime_error("own memory cannot be read");
  std::size_t found = 0;
  for (const auto& region : writableRegions()) {
    // Chunks overlap, so that nothing is missed at their borders, by too little to count anything twice.
    for (auto begin = region.begin; begin < region.end; begin += buffer.size() - (size - 1)) {
      const auto wanted = std::min<std::size_t>(buffer.size(), region.end - begin);
      const auto got = ::pread(memory, buffer.data(), wanted, static_cast<off_t>(begin));
      if (got < static_cast<ssize_t>(size)) break;
      const auto end = buffer.begin() + got;
      const auto isMarker = [](unsigned char byte, unsigned char masked) { return byte == (masked ^ mask); };
      for (auto at = buffer.begin();
           (at = std::search(at, end, masked_.begin(), masked_.end(), isMarker)) != end; ++at)
        ++found;
      std::memset(buffer.data(), 0, buffer.size());
    }
  }
  ::close(memory);
  return found;
}

}  // namespace corvane::test
