#include "ReadableSize.hpp"

#include <array>
#include <string_view>

namespace corvane::cli {

std::string readableSize(std::int64_t bytes) {
  if (bytes < 0) return "-" + readableSize(bytes == INT64_MIN ? INT64_MAX : -bytes);
  if (bytes < 1024) return std::to_string(bytes) + " B";
  constexpr std::array<std::string_view, 6> units{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};

  // Tenths of the unit, rounded; 1023.95 KiB and more are shown as 1.0 MiB.
  auto rest = static_cast<std::uint64_t>(bytes);
  std::size_t unit = 0;
  std::uint64_t divisor = 1024;
  const auto tenths = [&] { return rest / divisor * 10 + (rest % divisor * 10 + divisor / 2) / divisor; };
  while (tenths() >= 10240 && unit + 1 < units.size()) {
    if (divisor >= (std::uint64_t{1} << 50))
      rest /= 1024;  // keeps the product below within 64 bits
    else
      divisor *= 1024;
    ++unit;
  }
  const std::uint64_t shown = tenths();
  return std::to_string(shown / 10) + "." + std::to_string(shown % 10) + " " + std::string(units.at(unit));
}

std::string readableCount(std::uint64_t count) {
  std::string digits = std::to_string(count);
  for (auto place = static_cast<std::ptrdiff_t>(digits.size()) - 3; place > 0; place -= 3)
    digits.insert(static_cast<std::size_t>(place), ",");
  return digits;
}

}  // namespace corvane::cli
