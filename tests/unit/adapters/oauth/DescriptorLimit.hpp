#pragma once

#include <sys/resource.h>
#include <unistd.h>

namespace corvane::test {

/// For its lifetime only that many further descriptors can be opened, at most one.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t free) {
    ::getrlimit(RLIMIT_NOFILE, &former_);
    const int lowest = ::dup(STDIN_FILENO);
    ::close(lowest);
    rlimit limit = former_;
    limit.rlim_cur = static_cast<rlim_t>(lowest) + free;
    ::setrlimit(RLIMIT_NOFILE, &limit);
  }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;
  ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &former_); }

 private:
  rlimit former_{};
};

}  // namespace corvane::test
