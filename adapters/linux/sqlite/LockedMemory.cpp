#include "LockedMemory.hpp"

#include "KeychainProblem.hpp"

#include <sodium.h>

#include <new>

namespace corvane {
namespace {

std::byte* allocate(std::size_t size) {
  if (sodium_init() < 0)
    throw KeychainProblem(errSecNotAvailable, "The encryption library could not be started.");
  auto* bytes = static_cast<std::byte*>(sodium_malloc(size));
  if (!bytes) throw std::bad_alloc();
  return bytes;
}

}  // namespace

void LockedMemory::Freer::operator()(std::byte* bytes) const noexcept {
  sodium_free(bytes);
}

LockedMemory::LockedMemory(std::size_t size) : bytes_(allocate(size)), size_(size) {}

}  // namespace corvane
