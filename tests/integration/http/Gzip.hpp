#pragma once

#include <libdeflate.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace corvane::test {

inline std::string gzip(std::string_view text) {
  auto* compressor = libdeflate_alloc_compressor(6);
  std::string packed(libdeflate_gzip_compress_bound(compressor, text.size()), '\0');
  const auto size =
      libdeflate_gzip_compress(compressor, text.data(), text.size(), packed.data(), packed.size());
  libdeflate_free_compressor(compressor);
  if (size == 0) throw std::runtime_error("libdeflate could not compress");
  packed.resize(size);
  return packed;
}

}  // namespace corvane::test
