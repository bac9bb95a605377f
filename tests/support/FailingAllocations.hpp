#pragma once

#include "support/AllocationOperators.hpp"

#include <cstdlib>

// Memory that runs out on demand; for one source file of a program, as the operators are.
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

 private:
  friend void* allocate(std::size_t size) noexcept;

  static bool& fails() {
    thread_local bool value = false;
    return value;
  }
  static int& remaining() {
    thread_local int count = 0;
    return count;
  }
};

void* allocate(std::size_t size) noexcept {
  if (FailingAllocations::fails() && FailingAllocations::remaining()-- <= 0) {
    ++FailingAllocations::failures();
    return nullptr;
  }
  return std::malloc(size == 0 ? 1 : size);
}

void release(void* memory) noexcept {
  std::free(memory);
}

}  // namespace corvane::test
