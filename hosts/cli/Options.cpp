#include "Options.hpp"

#include "Failure.hpp"
#include "LoopbackURL.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>

namespace corvane::cli {
namespace {

constexpr const char* examples = R"(Examples:
  corvane --credentials client.json sign-in     sign in through the browser
  corvane accounts                              who is signed in
  corvane status                                where sessions are kept, and what each may do
  corvane about                                 profile and storage quota
  corvane ls                                    every file, page by page
  corvane --json ls | jq -r .name               the same for programs
  corvane trash 1AbC 2dEf                       move two files to the trash
  corvane rm 1AbC --permanently                 delete a file for good
  corvane sign-out ada@example.com              forget a session

Exit codes:
  0 ok, 1 other, 2 usage, 3 not found, 4 sign-in needed, 5 temporary, 6 permission, 7 keychain, 130 interrupted)";

constexpr const char* accountHelp = "The account's e-mail address; not needed when one account is signed in";

/// Everything that the parser writes into, until the command is known.
struct Draft {
  GlobalOptions global;
  bool noProgress = false;
  bool noBrowser = false;
  bool googleAnywhere = false;
  double timeoutSeconds = 300;
  SignInOptions signIn;
  AboutOptions about;
  LsOptions ls;
  TrashOptions trash;
  RmOptions rm;
  SignOutOptions signOut;
};

CLI::Validator oneOf(std::vector<std::string> words) {
  std::string listed;
  for (const auto& word : words) listed += (listed.empty() ? "" : ", ") + word;
  const auto check = [words = std::move(words), listed](std::string& given) -> std::string {
    for (const auto& word : words)
      if (word == given) return {};
    return "'" + given + "' is none of " + listed;
  };
  return CLI::Validator(check, "", "");
}

CLI::Validator checked(std::string (*problem)(const std::string& given)) {
  return CLI::Validator([problem](std::string& given) { return problem(given); }, "", "");
}

// An empty argument mostly comes from an unset shell variable. Taken for a missing one, it would
// let a command act on the only account or on the real Google.
std::string emptiness(const std::string& given) {
  return given.empty() ? "is empty" : "";
}

/// What is wrong with an account, a file's ID or a page token.
std::string problemOfWord(const std::string& given) {
  if (given.empty()) return emptiness(given);
  const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
  if (std::any_of(given.begin(), given.end(), isControl)) return "holds a control character";
  return given.find_first_not_of(' ') == given.npos ? "is blank" : "";
}

std::string problemOfCAFile(const std::string& given) {
  if (given.empty()) return emptiness(given);
  std::error_code error;
  const auto status = std::filesystem::status(given, error);
  if (!std::filesystem::exists(status)) return "There is no file " + given;
  // It is read on the network's thread, which a pipe without a writer would hold up.
  return std::filesystem::is_regular_file(status) ? "" : given + " is not a regular file";
}

std::string problemOfTimeout(const std::string& given) {
  constexpr double shortest = 0.001;
  constexpr double longest = 86'400;
  double seconds = 0;
  const char* const end = given.data() + given.size();
  const auto read = std::from_chars(given.data(), end, seconds);
  const bool isNumber = read.ec == std::errc() && read.ptr == end && std::isfinite(seconds);
  return isNumber && seconds >= shortest && seconds <= longest
             ? ""
             : "'" + given + "' is not a number of seconds from 0.001 to 86400";
}

void addGlobals(CLI::App& app, Draft& draft) {
  GlobalOptions& global = draft.global;
  app.add_option(
         "--credentials", global.credentialsFile,
         "The OAuth client: the file that Google's console lets you download; needed for sign-in")
      ->check(checked(emptiness))
      ->type_name("FILE");
  app.add_option_function<std::string>(
         "--keychain",
         [&global](const std::string& word) {
           global.keychain = word == "file" ? KeychainBackend::encryptedFile : KeychainBackend::secretService;
         },
         "Where sessions are kept: the desktop's keyring (default) or an encrypted file")
      ->check(oneOf({"secret-service", "file"}))
      ->type_name("secret-service|file");
  CLI::Option* google = app.add_option("--google", global.google,
                                       "Base URL of a Google on this computer, for tests and "
                                       "demos; its sessions are kept apart")
                            ->check(checked(emptiness))
                            ->type_name("URL");
  app.add_flag("--google-anywhere", draft.googleAnywhere,
               "Let --google lead to another computer, which then gets what you sign in with")
      ->needs(google);
  app.add_option("--ca-file", global.caFile,
                 "Certificate authorities (PEM) to trust beside the system's")
      ->check(checked(problemOfCAFile))
      ->type_name("FILE");
  app.add_flag("--json", global.json, "One JSON object per line; errors as JSON on standard error");
  app.add_option_function<std::string>(
         "--color",
         [&global](const std::string& word) {
           global.color = word == "always"  ? ColorChoice::always
                          : word == "never" ? ColorChoice::never
                                            : ColorChoice::automatic;
         },
         "When to use colours (NO_COLOR is honoured)")
      ->check(oneOf({"auto", "always", "never"}))
      ->type_name("auto|always|never");
  app.add_flag("--no-progress", draft.noProgress, "No progress line");
  app.add_option_function<std::string>(
         "--log-level",
         [&global](const std::string& word) {
           global.logLevel = word == "error"     ? LogLevel::error
                             : word == "warning" ? LogLevel::warning
                             : word == "verbose" ? LogLevel::verbose
                                                 : LogLevel::off;
         },
         "What to log on standard error (off by default)")
      ->check(oneOf({"off", "error", "warning", "verbose"}))
      ->type_name("off|error|warning|verbose");
}

CLI::App* command(CLI::App& app, const char* name, const char* description) {
  CLI::App* sub = app.add_subcommand(name, description);
  sub->fallthrough();  // global options may also follow the command
  sub->footer("Options for all commands, such as --json, are listed by `corvane --help`.");
  return sub;
}

void addCommands(CLI::App& app, Draft& draft) {
  CLI::App* signIn = command(app, "sign-in", "Sign an account in through the browser");
  signIn->add_flag("--no-browser", draft.noBrowser, "Only print the page's address");
  signIn
      ->add_option("--timeout", draft.timeoutSeconds,
                   "Seconds to wait for the browser (300 by default)")
      ->check(checked(problemOfTimeout))
      ->type_name("S");
  signIn->add_option("--account", draft.signIn.account, "The only account to sign in")
      ->check(checked(problemOfWord))
      ->type_name("EMAIL");

  command(app, "accounts", "List the accounts that are signed in");

  command(app, "status", "Show where sessions are kept and, for each account, its granted scopes and expiry");

  CLI::App* about = command(app, "about", "Show an account's profile and storage quota");
  about->add_option("ACCOUNT", draft.about.account, accountHelp)
      ->check(checked(problemOfWord))
      ->type_name("");

  CLI::App* ls = command(app, "ls", "List the files that the account owns and that are not in the trash");
  ls->add_option("ACCOUNT", draft.ls.account, accountHelp)
      ->check(checked(problemOfWord))
      ->type_name("");
  ls->add_option("--page-token", draft.ls.pageToken, "Begin at this page")
      ->check(checked(problemOfWord))
      ->type_name("T");
  ls->add_option("--pages", draft.ls.pages, "Stop after this many pages of up to 500 files (all by default)")
      ->check(CLI::Range(std::size_t{1}, std::size_t{1'000'000'000}).description(""))
      ->type_name("N");

  CLI::App* trash = command(app, "trash", "Move files to the trash");
  trash->add_option("ID", draft.trash.fileIDs, "The files' IDs, as `corvane ls` shows them")
      ->check(checked(problemOfWord))
      ->type_name("")
      ->required();
  trash->add_option("--account", draft.trash.account, accountHelp)
      ->check(checked(problemOfWord))
      ->type_name("A");

  CLI::App* rm = command(app, "rm", "Delete files for good, past the trash");
  rm->add_option("ID", draft.rm.fileIDs, "The files' IDs, as `corvane ls` shows them")
      ->check(checked(problemOfWord))
      ->type_name("")
      ->required();
  rm->add_flag("--permanently", draft.rm.permanently, "Needed: deleted files cannot be brought back");
  rm->add_option("--account", draft.rm.account, accountHelp)
      ->check(checked(problemOfWord))
      ->type_name("A");

  CLI::App* signOut = command(app, "sign-out", "Remove an account's session from this computer");
  signOut->add_option("ACCOUNT", draft.signOut.account, "The account's e-mail address")
      ->check(checked(problemOfWord))
      ->type_name("")
      ->required();
}

/// The parser would take the next argument for the missing value: `--account= 1AbC`.
void requireNoEmptyValue(int argc, const char* const* argv) {
  for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i) {
    const std::string_view given = argv[i];
    if (given.starts_with("--") && given.find('=') == given.size() - 1)
      throw Failure::usage(std::string(given.substr(0, given.size() - 1)) + ": is empty");
  }
}

/// A session's tokens go wherever --google leads.
void requireOwnComputer(const Draft& draft) {
  const std::string& google = draft.global.google;
  if (google.empty() || draft.googleAnywhere || isLoopbackURL(google)) return;
  // A URL with a user name may hold a password, too.
  const std::string shown = google.find('@') == google.npos ? google : "the URL";
  throw Failure::usage(
      "--google: " + shown + " does not lead to this computer.",
      "Give a loopback address such as http://127.0.0.1:8080. If the sign-ins there may leave this "
      "computer, add --google-anywhere.");
}

Options finished(const CLI::App& app, Draft draft) {
  requireOwnComputer(draft);
  draft.global.progress = !draft.noProgress;
  draft.signIn.openBrowser = !draft.noBrowser;
  draft.signIn.timeout = std::chrono::milliseconds(static_cast<std::int64_t>(draft.timeoutSeconds * 1000));
  const std::map<std::string_view, CommandOptions> byName{
      {"sign-in", draft.signIn},
      {"accounts", AccountsOptions{}},
      {"status", StatusOptions{}},
      {"about", draft.about},
      {"ls", draft.ls},
      {"trash", draft.trash},
      {"rm", draft.rm},
      {"sign-out", draft.signOut},
  };
  return {draft.global, byName.at(app.get_subcommands().front()->get_name())};
}

}  // namespace

std::variant<Options, InfoText> parseCommandLine(int argc, const char* const* argv) {
  CLI::App app(
      "Google Drive from the command line: sign in, look at the quota, list, trash and delete files.",
      "corvane");
  app.set_version_flag("--version", "corvane " CORVANE_VERSION);
  app.footer(examples);
  app.require_subcommand(0, 1);
  Draft draft;
  addGlobals(app, draft);
  addCommands(app, draft);
  requireNoEmptyValue(argc, argv);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForVersion&) {
    return InfoText{app.version() + "\n"};
  } catch (const CLI::CallForHelp&) {
    return InfoText{app.help()};
  } catch (const CLI::ParseError& error) {
    throw Failure::usage(error.what());
  }
  if (app.get_subcommands().empty()) throw Failure::usage("No command was given.");
  return finished(app, std::move(draft));
}

bool asksForJSON(int argc, const char* const* argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]) == "--") return false;
    if (std::string_view(argv[i]) == "--json") return true;
  }
  return false;
}

}  // namespace corvane::cli
