#include "Descriptors.hpp"

#include <fcntl.h>
#include <sys/resource.h>

namespace corvane {
namespace {

// A look-up of a name needs up to six at a time: two of libcurl's, files of the resolver, and
// sockets. The failed request has closed its own when this is asked.
constexpr int enough = 8;

}  // namespace

bool hasFewDescriptors() noexcept {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
  int free = 0;
  for (rlim_t each = 0; each < limit.rlim_cur; ++each)
    if (::fcntl(static_cast<int>(each), F_GETFD) < 0 && ++free == enough) return false;
  return true;
}

}  // namespace corvane
