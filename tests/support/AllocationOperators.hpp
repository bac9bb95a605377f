#pragma once

#include <cstddef>
#include <new>

// A program's allocation operators, over two functions that its source file defines, so that memory can run out when a
// test wants it to. For one source file of a program; a sanitizer wants these operators for itself.
namespace corvane::test {

/// Null when there is no memory.
void* allocate(std::size_t size) noexcept;
void release(void* memory) noexcept;

}  // namespace corvane::test

// Not inlined, or g++ would take their malloc and free for the caller's own and warn of a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (void* memory = corvane::test::allocate(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return corvane::test::allocate(size);
}
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return corvane::test::allocate(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  corvane::test::release(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  corvane::test::release(memory);
}
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t&) noexcept {
  corvane::test::release(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  corvane::test::release(memory);
}
