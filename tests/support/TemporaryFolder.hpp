#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace corvane::test {

/// A private folder of its own, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    auto name = (std::filesystem::temp_directory_path() / "corvane-XXXXXX").string();
    if (!::mkdtemp(name.data())) throw std::system_error(errno, std::generic_category(), "mkdtemp");
    path_ = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace corvane::test
