#pragma once

#include <cstddef>
#include <memory>
#include <span>

namespace corvane {

/// Bytes that are kept out of swap as far as the system allows it, and out of core dumps, lie between guard pages, and are
/// wiped when they go. Each of these takes some pages and system calls to make.
class LockedMemory {
 public:
  /// Throws std::bad_alloc, or KeychainProblem with errSecNotAvailable when libsodium cannot be started.
  explicit LockedMemory(std::size_t size);

  std::span<std::byte> bytes() noexcept { return {bytes_.get(), size_}; }
  std::span<const std::byte> bytes() const noexcept { return {bytes_.get(), size_}; }

 private:
  struct Freer {
    void operator()(std::byte* bytes) const noexcept;
  };

  std::unique_ptr<std::byte, Freer> bytes_;
  std::size_t size_;
};

}  // namespace corvane
