#include "Context.hpp"
#include "CredentialsFile.hpp"
#include "Failure.hpp"
#include "PlatformEnd.hpp"
#include "Startup.hpp"
#include "StoredSession.hpp"
#include "commands/Commands.hpp"
#include "present/ErrorReport.hpp"
#include "present/Terminal.hpp"

#include <Corvane/CorvaneFactory.hpp>
#include <CorvaneLinux/LinuxPlatform.hpp>
#include <CorvaneLinux/SystemPresenter.hpp>

#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <stop_token>

// Puts the program together: options, platform, factory, one command, and what is told about its failure.

namespace corvane::cli {
namespace {

/// Only sign-in needs the OAuth client: sessions carry it along.
std::optional<Data> credentials(const Options& options, const Interrupt& interrupt) {
  if (!std::holds_alternative<SignInOptions>(options.command)) return std::nullopt;
  if (options.global.credentialsFile.empty())
    throw Failure::usage(
        "Signing in needs the OAuth client that this program is registered with at Google.",
        "Pass the JSON file that Google's console offers for a \"Desktop app\": --credentials FILE.");
  return readCredentialsFile(options.global.credentialsFile, interrupt.descriptor());
}

std::shared_ptr<TerminalPresenter> makePresenter(const Options& options, const Interrupt& interrupt) {
  const auto printLine = [descriptor = interrupt.descriptor()](const std::string& text) {
    printToStandardError(text + "\n", descriptor);
  };
  const auto note = options.global.json ? TerminalPresenter::Print([](const std::string&) {})
                                        : TerminalPresenter::Print(printLine);
  const auto* signIn = std::get_if<SignInOptions>(&options.command);
  std::shared_ptr<Presenter> browser;
  if (signIn && signIn->openBrowser) {
    const char* wanted = std::getenv("BROWSER");
    const auto noBrowser = [note](const std::string&) {
      note("No browser could be started: open the page yourself.");
    };
    browser = makeSystemPresenter(noBrowser, wanted ? wanted : "");
  }
  return std::make_shared<TerminalPresenter>(std::move(browser), printLine, note);
}

Platform makePlatform(const Options& options, std::shared_ptr<TerminalPresenter> presenter,
                      std::shared_ptr<ToldReasons> reasons, PlatformEnd& end,
                      std::stop_token stopAsking) {
  LinuxPlatformOptions wanted;
  wanted.lifetime = end.token();
  if (!options.global.google.empty()) wanted.google = GoogleEndpoints::at(options.global.google);
  wanted.keychainBackend = options.global.keychain;
  wanted.extraCAFile = options.global.caFile;
  wanted.stopAsking = std::move(stopAsking);
  wanted.onKeychainProblem = [reasons = std::move(reasons)](const std::string& sentence) {
    reasons->tell(sentence);
  };
  wanted.presenter = std::move(presenter);
  wanted.logLevel = options.global.logLevel;
  if (const auto* signIn = std::get_if<SignInOptions>(&options.command)) {
    wanted.loginHint = signIn->account;
    wanted.onlyThisAccount = !signIn->account.empty();
    wanted.signInTimeout = signIn->timeout;
  }
  try {
    return makeLinuxPlatform(std::move(wanted));
  } catch (const AnyError& error) {
    throw Failure::usage(error.localizedDescription());
  }
}

/// What no part of the program or the module has foreseen, such as that descriptors ran out at the
/// start.
Failure unexpected(const std::exception& error) {
  Failure failure;
  failure.headline = "Something failed that should not.";
  failure.why = error.what();
  return failure;
}

/// Long enough for a keychain to close and a log to be written. A keyring that hangs is left
/// behind, sooner when the user pressed Ctrl-C and watches.
std::chrono::milliseconds patience(ExitCode code) {
  return code == ExitCode::interrupted ? std::chrono::milliseconds(500) : std::chrono::seconds(2);
}

ExitCode runCommand(const Options& options, Interrupt& interrupt, Output& out, PlatformEnd& end) {
  const auto presenter = makePresenter(options, interrupt);
  const auto reasons = std::make_shared<ToldReasons>();
  std::stop_source asking;
  const auto watch = interrupt.watch([&asking] { asking.request_stop(); });
  Platform platform = makePlatform(options, presenter, reasons, end, asking.get_token());
  const auto keychain = std::make_shared<ObservedKeychain>(platform.keychain, reasons);
  platform.keychain = keychain;
  CorvaneFactory factory(
      credentials(options, interrupt), keychainService(options.global.google), keychainAccessGroup,
      [] { return std::optional(WindowHandle::terminal()); }, platform);
  const ColorChoice color = options.global.color;
  const Context context{options.global,
                        factory,
                        platform,
                        *keychain,
                        *presenter,
                        interrupt,
                        out,
                        Style(wantsColor(color, isTerminal(STDOUT_FILENO))),
                        Style(wantsColor(color, isTerminal(STDERR_FILENO)))};
  try {
    return std::visit([&context](const auto& command) { return run(context, command); }, options.command);
  } catch (const Failure& failure) {
    throw context.explained(failure);
  }
}

/// One heap for all threads, and a mapping of its own for each large block: glibc's defaults keep two megabytes more of
/// a long listing's pages, and save no time by it.
void keepHeapSmall() {
#ifdef __GLIBC__
  mallopt(M_ARENA_MAX, 1);
  mallopt(M_MMAP_THRESHOLD, 256 << 10);
  mallopt(M_TRIM_THRESHOLD, 2 << 20);
#endif
}

ExitCode runProgram(int argc, const char* const* argv, PlatformEnd& end) {
  Interrupt interrupt;  // before anything that starts threads
  const auto tell = [&interrupt](const std::string& text) {
    printToStandardError(text, interrupt.descriptor());
  };
  Output out(STDOUT_FILENO, interrupt.descriptor());
  const bool json = asksForJSON(argc, argv);
  Style errorStyle(wantsColor(ColorChoice::automatic, isTerminal(STDERR_FILENO)));
  try {
    const auto parsed = parseCommandLine(argc, argv);
    if (const auto* info = std::get_if<InfoText>(&parsed)) {
      out.text(info->text);
      out.flush();
      return ExitCode::ok;
    }
    const auto& options = std::get<Options>(parsed);
    errorStyle = Style(wantsColor(options.global.color, isTerminal(STDERR_FILENO)));
    out.requireOpen();
    const ExitCode code = runCommand(options, interrupt, out, end);
    out.flush();
    return code;
  } catch (const Failure& failure) {
    tell(json ? reportInJSON(failure) : reportForPeople(failure, errorStyle));
    return failure.exitCode;
  } catch (const Interrupted&) {
    if (json) tell(reportInJSON(Failure::interrupted()));
    return ExitCode::interrupted;  // a person knows who pressed Ctrl-C
  } catch (const OutputClosed&) {
    return ExitCode::ok;
  }
}

}  // namespace
}  // namespace corvane::cli

int main(int argc, char** argv) {
  using namespace corvane::cli;
  protectMemory();
  dropKeyLog();
  openStandardDescriptors();
  keepHeapSmall();
  for (const int signal : {SIGPIPE, SIGXFSZ})  // a failed write tells it
    std::signal(signal, SIG_IGN);
  PlatformEnd platformEnd;
  ExitCode code = ExitCode::other;
  try {
    code = runProgram(argc, argv, platformEnd);
  } catch (const std::exception& error) {
    const Failure failure = unexpected(error);
    constexpr int none = -1;  // which poll(2) passes over
    printToStandardError(
        asksForJSON(argc, argv) ? reportInJSON(failure) : reportForPeople(failure, Style(false)), none);
  }
  // Threads that still work must not meet the end of static objects.
  if (!platformEnd.wait(patience(code))) ::_exit(static_cast<int>(code));
  return static_cast<int>(code);
}
