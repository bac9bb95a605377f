// Usage: bench-server DIRECTORY [EMAIL=FILES]…
// An emulator over TLS in a process of its own, so that its work does not count as a client's. It writes to DIRECTORY
// `ca.pem`, an access token for each account under the account's address, and at last `url`; and serves until SIGTERM.
#include <CorvaneEmulator/Emulator.hpp>

#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using corvane::emulator::Account;
using corvane::emulator::Emulator;
using corvane::emulator::Options;

// A listing of a million files, compressed, stays in memory: pages are rendered once.
constexpr std::size_t renderedBytes = std::size_t{512} << 20;

Account accountFrom(const std::string& argument) {
  const auto equals = argument.find('=');
  Account account;
  account.email = argument.substr(0, equals);
  account.files = std::stoull(argument.substr(equals + 1));
  account.decoys = false;
  return account;
}

void write(const std::filesystem::path& path, const std::string& text) {
  const auto temporary = path.string() + ".new";
  std::ofstream file(temporary);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.filename().string());
  std::filesystem::rename(temporary, path);
}

void serve(const std::filesystem::path& directory, Options options) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  std::vector<std::string> emails;
  for (const auto& account : options.accounts) emails.push_back(account.email);
  Emulator emulator(std::move(options));
  emulator.start();
  write(directory / "ca.pem", emulator.authorityPEM());
  for (const auto& email : emails) write(directory / email, emulator.issueSession(email).accessToken);
  write(directory / "url", emulator.baseURL());
  int received = 0;
  sigwait(&signals, &received);
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) {
    std::fputs("usage: bench-server DIRECTORY EMAIL=FILES...\n", stderr);
    return 2;
  }
  std::signal(SIGPIPE, SIG_IGN);
  ::umask(077);
  try {
    Options options;
    options.tls = true;
    options.tokenLifetime = std::chrono::hours(24);
    options.cacheBytes = renderedBytes;
    options.missingCreatedTimeEvery = 0;
    options.accounts.clear();
    for (int i = 2; i < count; ++i) options.accounts.push_back(accountFrom(arguments[i]));
    serve(arguments[1], std::move(options));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench-server: %s\n", error.what());
    return 1;
  }
  return 0;
}
