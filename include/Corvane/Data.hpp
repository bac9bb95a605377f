#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace corvane {

/// Overwrites memory in a way that the optimizer keeps, although nobody reads it again.
inline void wipeMemory(void* memory, std::size_t size) noexcept {
  if (size == 0) return;  // memory may be null then
  std::memset(memory, 0, size);
  asm volatile("" : : "r"(memory) : "memory");  // may read it, as far as the optimizer knows
}

/// An allocator that wipes each block before it is given back, so that dropped secrets do not linger in the
/// heap.
template <class T>
struct WipingAllocator {
  using value_type = T;

  WipingAllocator() = default;
  template <class U>
  WipingAllocator(const WipingAllocator<U>&) noexcept {}

  T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T* block, std::size_t count) noexcept {
    wipeMemory(block, count * sizeof(T));
    std::allocator<T>().deallocate(block, count);
  }

  template <class U>
  bool operator==(const WipingAllocator<U>&) const noexcept {
    return true;
  }
};

/// A byte buffer. Buffers carry credentials and sessions, so all of them are wiped when dropped.
using Data = std::vector<std::byte, WipingAllocator<std::byte>>;

/// The bytes of a text, as they stand.
inline Data dataFromText(std::string_view text) {
  const auto* begin = reinterpret_cast<const std::byte*>(text.data());
  return Data(begin, begin + text.size());
}

/// A view of a buffer as text; valid as long as the buffer is neither changed nor destroyed.
inline std::string_view textView(const Data& data) {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

}  // namespace corvane
