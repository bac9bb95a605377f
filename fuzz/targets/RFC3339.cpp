#include "Input.hpp"

#include <RFC3339.hpp>

// Points in time as Drive writes them.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  using namespace std::chrono;
  const auto date = parseRFC3339(fuzz::inputText(bytes, size));
  if (!date) return 0;
  fuzz::require(*date >= sys_days{year{0} / 1 / 1} && *date < sys_days{year{10'000} / 1 / 1},
                "a time lies within four-digit years");
  const std::string text = formatRFC3339(*date);
  fuzz::require(text.size() == 24 || text.size() == 27, "a time is written with milli- or microseconds");
  fuzz::require(parseRFC3339(text) == date, "a time survives writing");
  return 0;
}
