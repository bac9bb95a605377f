#pragma once

#include <Corvane/NSError.hpp>
#include <Corvane/Result.hpp>

#include <string>
#include <utility>

namespace corvane {

/// The file of certificate authorities that libcurl is given: the system's bundle, or that and the host's own
/// file joined in an unnamed file in memory.
///
/// One file, and not a certificate store changed by hand, because libcurl keeps parsed authorities between
/// connections only when they come from a single file.
class CertificateBundle {
 public:
  CertificateBundle() = default;
  CertificateBundle(CertificateBundle&& other) noexcept
      : path_(std::move(other.path_)), file_(std::exchange(other.file_, -1)) {}
  CertificateBundle& operator=(CertificateBundle&& other) noexcept {
    std::swap(path_, other.path_);
    std::swap(file_, other.file_);
    return *this;
  }
  ~CertificateBundle();

  /// Reads the extra file, if one is named; the error names it when that fails.
  static Result<CertificateBundle, NSError> open(const std::string& extraFile);

  /// Valid while this lives.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  int file_ = -1;
};

}  // namespace corvane
