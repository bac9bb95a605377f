#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace corvane::emulator {

/// The name of the n-th file: mostly everyday names, every seventh one as awkward as Drive allows.
std::string fileName(std::uint64_t index, std::uint64_t hash, std::string_view extension);

}  // namespace corvane::emulator
