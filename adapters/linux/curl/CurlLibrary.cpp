// Two matters of the process that only the first user of these libraries can settle. When the host
// was first, its choice stands.
// - libcurl copies bearer headers and bodies into buffers of its own, so its memory is wiped as it
//   is freed. Blocks still come from malloc, so a host may free what libcurl gave it either way.
// - OpenSSL would tear itself down in exit(), before static objects that may still own a running
//   network thread.
#include "CurlLibrary.hpp"

#include <curl/curl.h>
#include <malloc.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace corvane {
namespace {

void wipingFree(void* block) {
  if (block) explicit_bzero(block, malloc_usable_size(block));
  std::free(block);
}

void* wipingRealloc(void* block, std::size_t size) {
  if (!block) return std::malloc(size);
  void* larger = std::malloc(size);
  if (!larger) return nullptr;
  std::memcpy(larger, block, std::min(size, malloc_usable_size(block)));
  wipingFree(block);
  return larger;
}

bool prepare() noexcept {
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  return curl_global_init_mem(CURL_GLOBAL_DEFAULT, std::malloc, wipingFree, wipingRealloc, strdup,
                              std::calloc) == CURLE_OK;
}

}  // namespace

bool prepareCurlLibrary() noexcept {
  static const bool prepared = prepare();
  return prepared;
}

}  // namespace corvane
