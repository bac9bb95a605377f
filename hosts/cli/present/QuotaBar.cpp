#include "QuotaBar.hpp"

#include <algorithm>
#include <cmath>

namespace corvane::cli {

std::string quotaBar(std::int64_t used, std::int64_t limit, const Style& style) {
  if (limit <= 0) return {};
  constexpr double width = 40;
  const double share = static_cast<double>(std::max<std::int64_t>(used, 0)) / static_cast<double>(limit);

  // What is used at all shows, and the bar is full only when the storage is.
  double cells = std::floor(std::min(share, 1.0) * width);
  if (used > 0) cells = std::max(cells, 1.0);
  const auto filled = static_cast<std::size_t>(cells);
  const std::string full(filled, '#');
  const std::string rest(static_cast<std::size_t>(width) - filled, '.');

  std::string painted = share >= 0.95  ? style.red(full)
                        : share >= 0.8 ? style.yellow(full)
                                       : style.green(full);
  const auto percent = static_cast<std::int64_t>(std::min(std::floor(share * 100), 999'999.0));
  const std::string number = percent == 0 && used > 0 ? "<1" : std::to_string(percent);
  return "[" + painted + style.dim(rest) + "] " + number + " %";
}

}  // namespace corvane::cli
