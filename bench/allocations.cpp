// Preloaded into a client, counts what it asks malloc for. In a library of its own because the counting costs time.
#include <atomic>
#include <cstddef>

extern "C" {
// glibc's own, behind the names that are replaced here.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {
std::atomic<unsigned long long> calls{0};
void count() {
  calls.fetch_add(1, std::memory_order_relaxed);
}
}  // namespace

extern "C" {

unsigned long long corvane_bench_allocations();
unsigned long long corvane_bench_allocations() {
  return calls.load();
}

void* malloc(std::size_t size) {
  count();
  return __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size) {
  count();
  return __libc_calloc(number, size);
}

void* realloc(void* block, std::size_t size) {
  count();
  return __libc_realloc(block, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  count();
  return __libc_memalign(alignment, size);
}
}
