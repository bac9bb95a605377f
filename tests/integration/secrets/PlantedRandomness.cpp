#include "PlantedRandomness.hpp"

#include "FreedMemory.hpp"

#include <sodium.h>
#include <sys/random.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string_view>

// Nothing here may leave a copy in the heap: what is found must be someone else's.

namespace corvane::test {
namespace {

constexpr std::size_t secretSize = 32;
constexpr std::array<std::string_view, 8> names{"1st random secret", "2nd random secret", "3rd random secret",
                                                "4th random secret", "5th random secret", "6th random secret",
                                                "7th random secret", "8th random secret"};
std::atomic<int> drawn{0};

void fill(void* buffer, std::size_t size) {
  auto* const bytes = static_cast<unsigned char*>(buffer);
  for (std::size_t done = 0; done < size;) {
    const auto count = ::getrandom(bytes + done, size - done, 0);
    if (count > 0) done += static_cast<std::size_t>(count);
  }
  if (size != secretSize) return;
  const auto name = names.at(static_cast<std::size_t>(drawn++));
  FreedMemory::plant(name, {static_cast<const char*>(buffer), size});
  std::array<char, sodium_base64_ENCODED_LEN(secretSize, sodium_base64_VARIANT_URLSAFE_NO_PADDING)> text{};
  sodium_bin2base64(text.data(), text.size(), bytes, size, sodium_base64_VARIANT_URLSAFE_NO_PADDING);
  FreedMemory::plant(name, {text.data(), text.size() - 1});
}

std::uint32_t draw() {
  std::uint32_t number = 0;
  fill(&number, sizeof number);
  return number;
}

randombytes_implementation source{.implementation_name = [] { return "planted"; },
                                  .random = draw,
                                  .stir = nullptr,
                                  .uniform = nullptr,
                                  .buf = fill,
                                  .close = nullptr};

}  // namespace

void plantRandomness() {
  if (randombytes_set_implementation(&source) != 0) std::abort();
}

int plantedRandomSecrets() {
  return drawn;
}

}  // namespace corvane::test
