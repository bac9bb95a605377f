#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <CorvaneEmulator/Emulator.hpp>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

namespace {

using corvane::emulator::Account;
using corvane::emulator::Consent;
using corvane::emulator::Emulator;
using corvane::emulator::Options;

constexpr int usageError = 2;

struct Arguments {
  Options options;
  std::uint64_t files = 100;
  std::vector<std::string> accounts;
  std::string consent = "allow";
  std::int64_t tokenLifetime = 3599;
  std::string tlsDirectory;
  std::string readyFile;
};

/// `EMAIL` or `EMAIL=N`.
Account accountFrom(const std::string& text, std::uint64_t files) {
  const auto equals = text.find('=');
  Account account{.email = text.substr(0, equals), .files = files};
  if (equals == std::string::npos) return account;
  const auto* first = text.data() + equals + 1;
  const auto* last = text.data() + text.size();
  const auto [end, error] = std::from_chars(first, last, account.files);
  if (error != std::errc{} || end != last) {
    throw std::invalid_argument("--account " + text + ": EMAIL=N needs a number of files after '='");
  }
  return account;
}

Consent consentFrom(const std::string& name) {
  static const std::map<std::string, Consent> consents = {{"ask", Consent::Ask},
                                                          {"allow", Consent::Allow},
                                                          {"deny", Consent::Deny},
                                                          {"partial", Consent::Partial}};
  const auto found = consents.find(name);
  if (found == consents.end()) {
    throw std::invalid_argument("--consent " + name + ": must be ask, allow, deny or partial");
  }
  return found->second;
}

/// CLI11 lets a negative number wrap around.
std::string requireDigits(const std::string& text) {
  return text.find_first_not_of("0123456789") == std::string::npos ? "" : "'" + text + "' is no whole number";
}

void describe(CLI::App& app, Arguments& arguments) {
  auto& options = arguments.options;
  app.add_option("--port", options.port, "Port on 127.0.0.1; 0 takes any free one")->capture_default_str();
  app.add_option("--files", arguments.files, "Files of each account that gives no number")
      ->check(requireDigits)
      ->capture_default_str();
  app.add_option("--seed", options.seed, "The same seed gives the same files")
      ->check(requireDigits)
      ->capture_default_str();
  app.add_option("--account", arguments.accounts, "Account, as EMAIL or EMAIL=N for N files; repeatable")
      ->allow_extra_args(false);
  app.add_option("--consent", arguments.consent,
                 "Answer of the authorization page: ask, allow, deny or partial")
      ->capture_default_str();
  app.add_option("--tls-dir", arguments.tlsDirectory, "Serve https and write the authority to DIR/ca.pem");
  app.add_option("--ready-file", arguments.readyFile, "Write the base URL here once it is served");
  app.add_option("--client-id", options.clientID, "The OAuth client's id")->capture_default_str();
  app.add_option("--client-secret", options.clientSecret, "The OAuth client's secret")->capture_default_str();
  app.add_option("--token-lifetime", arguments.tokenLifetime, "Seconds an access token is good for")
      ->check(CLI::Range(std::int64_t{1}, std::int64_t{1} << 31))
      ->capture_default_str();
}

/// A reader sees the whole text or no file.
void writeAtomically(const std::filesystem::path& path, const std::string& text) {
  auto temporary = path;
  temporary += "." + std::to_string(getpid());
  std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + temporary.string());
  std::filesystem::rename(temporary, path);
}

void writeAuthority(const std::filesystem::path& directory, const std::string& pem) {
  std::filesystem::create_directories(directory);
  writeAtomically(directory / "ca.pem", pem);
}

/// Blocked before any thread starts, so that all threads leave the signals to `waitForSignal`.
sigset_t blockedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

void serve(Arguments& arguments) {
  auto& options = arguments.options;
  options.tls = !arguments.tlsDirectory.empty();
  options.tokenLifetime = std::chrono::seconds(arguments.tokenLifetime);
  if (arguments.accounts.empty()) arguments.accounts = {"ada@example.com"};
  options.consent = consentFrom(arguments.consent);
  options.accounts.clear();
  for (const auto& text : arguments.accounts) options.accounts.push_back(accountFrom(text, arguments.files));

  const auto signals = blockedSignals();
  Emulator emulator(options);
  emulator.start();
  if (options.tls) writeAuthority(arguments.tlsDirectory, emulator.authorityPEM());
  std::cout << emulator.baseURL() << std::endl;
  if (!arguments.readyFile.empty()) writeAtomically(arguments.readyFile, emulator.baseURL() + "\n");
  int received = 0;
  sigwait(&signals, &received);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("A local Google for tests and demos: Drive v3 and OAuth on 127.0.0.1.", "corvane-emulator");
  Arguments arguments;
  describe(app, arguments);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : usageError;
  }
  signal(SIGPIPE, SIG_IGN);
  try {
    serve(arguments);
  } catch (const std::invalid_argument& error) {
    std::cerr << "corvane-emulator: " << error.what() << "\n";
    return usageError;
  } catch (const std::exception& error) {
    std::cerr << "corvane-emulator: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
