#pragma once

#include <Corvane/Data.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <source_location>
#include <string_view>

namespace corvane::fuzz {

/// A fuzzer's input as text.
inline std::string_view inputText(const std::uint8_t* bytes, std::size_t size) {
  return {reinterpret_cast<const char*>(bytes), size};
}

/// Ends the program, as a crash does, when something that must hold does not.
inline void require(bool holds, const char* what,
                    std::source_location where = std::source_location::current()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%u: does not hold: %s\n", where.file_name(), static_cast<unsigned>(where.line()),
               what);
  std::abort();
}

}  // namespace corvane::fuzz
