#pragma once

#include <unistd.h>

namespace corvane {

/// Owns an open file descriptor, or none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  int get() const noexcept { return descriptor_; }
  explicit operator bool() const noexcept { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

}  // namespace corvane
