// The body is complete when it is inflated, so each member is inflated in one call, which is faster
// than streaming but needs an output buffer of the right size. The trailer of the last member holds
// that size, as a hint only: it is counted modulo 2^32, speaks of one member, and an attacker
// writes what he likes. So it is believed up to deflate's greatest ratio; where it was wrong the
// buffer doubles and the member is done again, up to the limit.
#include "GzipInflater.hpp"

#include <libdeflate.h>

#include <algorithm>
#include <new>

namespace corvane {
namespace {

constexpr std::size_t greatestRatio = 1032;  // zlib's technical notes: "Maximum Compression Factor"
constexpr std::size_t trailerSize = 4;       // ISIZE, RFC 1952, 2.3.1

std::size_t firstGuess(const Data& packed, std::size_t limit) {
  std::size_t claimed = 0;
  if (packed.size() >= trailerSize)
    for (std::size_t i = 0; i < trailerSize; ++i)
      claimed |= std::to_integer<std::size_t>(packed[packed.size() - trailerSize + i]) << (8 * i);
  const std::size_t plausible = std::min(claimed, packed.size() * greatestRatio);
  return std::min(std::max(plausible, packed.size()), limit);
}

struct DecompressorDeleter {
  void operator()(libdeflate_decompressor* decompressor) const {
    libdeflate_free_decompressor(decompressor);
  }
};

void resizeWithPadding(Data& data, std::size_t size) {
  data.reserve(size + HTTPResponse::padding);
  data.resize(size);
}

}  // namespace

Result<Data, InflateFailure> inflateGzip(const Data& packed, std::size_t limit) {
  using Inflated = Result<Data, InflateFailure>;
  const std::unique_ptr<libdeflate_decompressor, DecompressorDeleter> decompressor(
      libdeflate_alloc_decompressor());
  if (!decompressor) throw std::bad_alloc();

  Data plain;
  resizeWithPadding(plain, firstGuess(packed, limit));
  std::size_t read = 0;
  std::size_t written = 0;
  while (read < packed.size()) {
    std::size_t memberIn = 0;
    std::size_t memberOut = 0;
    switch (libdeflate_gzip_decompress_ex(decompressor.get(), packed.data() + read,
                                          packed.size() - read, plain.data() + written,
                                          plain.size() - written, &memberIn, &memberOut)) {
      case LIBDEFLATE_SUCCESS:
        read += memberIn;
        written += memberOut;
        break;
      case LIBDEFLATE_INSUFFICIENT_SPACE:
        if (plain.size() >= limit) return Inflated::failure(InflateFailure::tooLarge);
        resizeWithPadding(plain, std::min(std::max<std::size_t>(plain.size() * 2, 4096), limit));
        break;
      default:
        return Inflated::failure(InflateFailure::corrupt);
    }
  }
  plain.resize(written);
  return Inflated::success(std::move(plain));
}

}  // namespace corvane
