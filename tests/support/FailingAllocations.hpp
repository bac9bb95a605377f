#pragma once

#include <cstdlib>
#include <new>

// Memory that runs out on demand. It brings its own operator new, which a sanitizer wants for itself: for one source
// file of a program that is not built for one.
namespace corvane::test {

/// On this thread and while it lives, all allocations fail but the first ones.
class FailingAllocations {
 public:
  explicit FailingAllocations(int successes) {
    failures() = 0;
    remaining() = successes;
    fails() = true;
  }
  ~FailingAllocations() { fails() = false; }
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  /// How many have failed on this thread since the last one was made.
  static int& failures() {
    thread_local int count = 0;
    return count;
  }

  static void* allocate(std::size_t size) noexcept {
    if (fails() && remaining()-- <= 0) {
      ++failures();
      return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
  }

 private:
  static bool& fails() {
    thread_local bool value = false;
    return value;
  }
  static int& remaining() {
    thread_local int count = 0;
    return count;
  }
};

}  // namespace corvane::test

// Not inlined, or g++ would take their malloc and free for the caller's own and warn of a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (void* memory = corvane::test::FailingAllocations::allocate(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return corvane::test::FailingAllocations::allocate(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
