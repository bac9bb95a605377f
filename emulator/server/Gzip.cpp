#include "server/Gzip.hpp"

#include <zlib.h>

#include <algorithm>
#include <stdexcept>

namespace corvane::emulator {
namespace {

class Deflater {
 public:
  explicit Deflater(int level) {
    constexpr int gzipWindow = 15 + 16;
    constexpr int memory = 8;
    if (deflateInit2(&stream_, level, Z_DEFLATED, gzipWindow, memory, Z_DEFAULT_STRATEGY) != Z_OK) {
      throw std::runtime_error("zlib cannot start");
    }
  }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;
  ~Deflater() { deflateEnd(&stream_); }

  void add(std::string_view bytes, bool last = false) {
    // zlib does not change its input; its interface is older than const.
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream_.avail_in = static_cast<uInt>(bytes.size());
    do {
      stream_.next_out = reinterpret_cast<Bytef*>(buffer_.data());
      stream_.avail_out = static_cast<uInt>(buffer_.size());
      deflate(&stream_, last ? Z_FINISH : Z_NO_FLUSH);
      result_.append(buffer_, 0, buffer_.size() - stream_.avail_out);
    } while (stream_.avail_out == 0);
  }

  std::string finish() {
    add({}, true);
    return std::move(result_);
  }

 private:
  z_stream stream_{};
  std::string buffer_ = std::string(64 << 10, '\0');
  std::string result_;
};

}  // namespace

std::string gzipped(std::string_view text) {
  constexpr int fast = 2;  // nobody waits for a page of the emulator because of its compression
  Deflater deflater(fast);
  deflater.add(text);
  return deflater.finish();
}

std::string gzippedHugeObject(std::uint64_t size) {
  Deflater deflater(1);
  const std::string piece(1 << 20, hugeFill);
  deflater.add(hugeStart);
  for (std::uint64_t left = size - std::min(size, hugeStart.size() + hugeEnd.size()); left > 0;) {
    const auto length = std::min<std::uint64_t>(left, piece.size());
    deflater.add(std::string_view(piece).substr(0, length));
    left -= length;
  }
  deflater.add(hugeEnd);
  return deflater.finish();
}

}  // namespace corvane::emulator
