#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace corvane::emulator {

/// One gzip member (RFC 1952).
std::string gzipped(std::string_view text);
/// A JSON object of `size` decoded bytes, compressed piece by piece: it may be larger than memory.
std::string gzippedHugeObject(std::uint64_t size);

/// The same object uncompressed is `hugeStart`, fill characters, `hugeEnd`.
inline constexpr std::string_view hugeStart = R"({"kind":")";
inline constexpr std::string_view hugeEnd = R"("})";
inline constexpr char hugeFill = 'a';

}  // namespace corvane::emulator
