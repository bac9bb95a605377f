#pragma once

#include <sys/resource.h>
#include <unistd.h>

namespace corvane::test {

/// UndefinedBehaviorSanitizer looks at memory through a pipe of its own, and without descriptors takes every
/// object for an invalid one.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool sanitizersNeedDescriptors = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(undefined_behavior_sanitizer)
inline constexpr bool sanitizersNeedDescriptors = true;
#else
inline constexpr bool sanitizersNeedDescriptors = false;
#endif
#else
inline constexpr bool sanitizersNeedDescriptors = false;
#endif

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
