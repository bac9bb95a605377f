#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace corvane::test {

/// Bytes that stand nowhere in this process's memory unless someone else has written them there.
class Marker {
 public:
  static constexpr std::size_t size = 16;

  Marker();

  /// Writes them where `target` has room for them.
  void write(std::byte* target) const;
  /// How often they stand in the memory that this process can write.
  std::size_t count() const;

 private:
  std::array<unsigned char, size> masked_{};
};

}  // namespace corvane::test
