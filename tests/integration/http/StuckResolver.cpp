#include "StuckResolver.hpp"

#include <dlfcn.h>
#include <netdb.h>

#include <condition_variable>
#include <mutex>
#include <string_view>

namespace corvane::test {
namespace {

struct Gate {
  std::mutex mutex;
  std::condition_variable changed;
  bool closed = false;
  int begun = 0;
  int inside = 0;
};

Gate& gate() {
  static auto* const shared = new Gate;  // look-ups may outlast main
  return *shared;
}

void passGate() {
  std::unique_lock lock(gate().mutex);
  ++gate().begun;
  ++gate().inside;
  gate().changed.notify_all();
  gate().changed.wait(lock, [] { return !gate().closed; });
  --gate().inside;
  gate().changed.notify_all();
}

}  // namespace

StuckResolver::StuckResolver() {
  const std::lock_guard lock(gate().mutex);
  gate().closed = true;
  gate().begun = 0;
}

StuckResolver::~StuckResolver() {
  std::unique_lock lock(gate().mutex);
  gate().closed = false;
  gate().changed.notify_all();
  gate().changed.wait(lock, [] { return gate().inside == 0; });
}

void StuckResolver::waitForLookups(int count) const {
  std::unique_lock lock(gate().mutex);
  gate().changed.wait(lock, [&] { return gate().begun >= count; });
}

}  // namespace corvane::test

// Stands before the system's own, for libcurl too.
extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** found) {
  if (host && std::string_view(host).ends_with("stuck.test")) {
    corvane::test::passGate();
    return EAI_AGAIN;
  }
  using Lookup = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
  static const auto systems = reinterpret_cast<Lookup>(::dlsym(RTLD_NEXT, "getaddrinfo"));
  return systems(host, service, hints, found);
}
