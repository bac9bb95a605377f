#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace corvane::test {

inline std::string contents(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Puts these bytes in place of a file's, with a mode that the keychain accepts.
inline void overwrite(const std::filesystem::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
  std::filesystem::permissions(file,
                               std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

}  // namespace corvane::test
