// A local Google whose listings go wrong one time in twenty, until it is told to end.
//   corvane_soak_google READY-FILE ACCOUNTS FILES
// Writes its URL to READY-FILE once it serves, and at its end tells what went wrong how often.
#include <CorvaneEmulator/Emulator.hpp>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "FaultMix.hpp"

namespace {

using namespace corvane;

constexpr std::size_t faultsAhead = 2'000;
constexpr long lookEvery = 20'000'000;     // ns
constexpr int looksBetweenExpiries = 250;  // five seconds

emulator::Options optionsFor(int accounts, std::uint64_t files) {
  emulator::Options options;
  options.accounts.clear();
  for (int i = 0; i < accounts; ++i)
    options.accounts.push_back({.email = "user" + std::to_string(i) + "@example.com", .files = files});
  options.missingCreatedTimeEvery = 0;
  return options;
}

void announce(const std::string& url, const std::filesystem::path& readyFile) {
  const auto temporary = readyFile.string() + ".new";
  std::ofstream(temporary) << url << '\n';
  std::filesystem::rename(temporary, readyFile);
}

/// Keeps faults ahead of the requests. Every few seconds, but only once the sign-ins are over, it ends all tokens and
/// has the token endpoint fail the first refresh that follows.
void misbehave(emulator::Emulator& google, soak::FaultMix& mix, const sigset_t& signals) {
  const timespec pause{0, lookEvery};
  std::size_t added = 0;
  int looks = 0;
  while (sigtimedwait(&signals, nullptr, &pause) < 0) {
    const auto used = google.journal().count("files.list");
    for (; added < used + faultsAhead; ++added) google.faults().add("files.list", mix.next());
    if (used > 0 && ++looks % looksBetweenExpiries == 0) {
      google.expireTokens();
      google.faults().add("token", emulator::Fault::error(503, "backendError"));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("usage: corvane_soak_google READY-FILE ACCOUNTS FILES\n", stderr);
    return 2;
  }
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // before any thread: the end is waited for here

  emulator::Emulator google(optionsFor(std::stoi(argv[2]), std::stoull(argv[3])));
  soak::FaultMix mix(1);
  google.start();
  announce(google.baseURL(), argv[1]);
  misbehave(google, mix, signals);

  const auto requests = google.journal().count("files.list");
  std::size_t faults = 0;
  std::printf("\n%-28s %8s\n", "fault", "prepared");
  for (const auto& kind : mix.kinds()) {
    std::printf("%-28s %8zu\n", kind.name.c_str(), kind.drawn);
    faults += kind.drawn;
  }
  std::printf("%-28s %8zu (some %zu of them met a request)\n", "all", faults,
              static_cast<std::size_t>(requests * faults / (requests + faultsAhead)));
  std::printf("%-28s %8zu\n", "requests for a page", static_cast<std::size_t>(requests));
}
