#include "Clock.hpp"

#include <time.h>

namespace corvane {

Instant systemInstant() {
  timespec sinceBoot{};
  clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
  return {std::chrono::seconds{sinceBoot.tv_sec} + std::chrono::nanoseconds{sinceBoot.tv_nsec},
          std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now())};
}

}  // namespace corvane
