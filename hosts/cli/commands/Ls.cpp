#include "Commands.hpp"

#include "../Failure.hpp"
#include "../ListingWalker.hpp"
#include "../SignedInAccounts.hpp"
#include "../present/FileTable.hpp"
#include "../present/JSONLines.hpp"
#include "../present/ProgressLine.hpp"
#include "../present/ShellText.hpp"
#include "../present/Terminal.hpp"

#include <unistd.h>

namespace corvane::cli {
namespace {

/// Prints files as they come, in one of the two forms.
class FilePrinter {
 public:
  explicit FilePrinter(const Context& context)
      : context_(context), table_(terminalColumns(STDOUT_FILENO), context.style) {}

  void print(const FilesPage& page) {
    for (const File& file : page.files()) {
      if (context_.options.json) {
        context_.out.line(jsonLine(file));
      } else {
        if (count_ == 0) context_.out.line(table_.header());
        context_.out.line(table_.row(file));
      }
      ++count_;
    }
    context_.out.flush();
  }

  std::uint64_t count() const { return count_; }

 private:
  const Context& context_;
  FileTable table_;
  std::uint64_t count_ = 0;
};

std::string pageTokenOption(const std::string& token) {
  return "--page-token=" + shellText(token);
}

/// Where to go on, for people as a command and for programs as an object, both on standard error.
void tellNextPage(const Context& context, const std::string& token) {
  if (!context.options.json) {
    context.note("There are more files; go on with " + pageTokenOption(token));
    return;
  }
  printToStandardError(jsonObject([&token](KeyedEncodingContainer& object) {
                         object.encode(std::string_view(token), CodingKey("nextPageToken"));
                       }) +
                           "\n",
                       context.interrupt.descriptor());
}

}  // namespace

ExitCode run(const Context& context, const LsOptions& options) {
  const auto account = chosenAccount(context, options.account);
  const auto api = context.factory.makeAPI(account);
  ListingWalker walker(
      [&api](std::optional<std::string> token) { return api->getFilesPage(std::move(token)); },
      options.pageToken, options.pages, context.interrupt);
  FilePrinter printer(context);
  ProgressLine progress(context.options.progress && !context.options.json && isTerminal(STDERR_FILENO),
                        [descriptor = context.interrupt.descriptor()](std::string_view text) {
                          printToStandardError(text, descriptor);
                        });
  try {
    while (const auto page = walker.next()) {
      progress.clear();
      printer.print(*page);
      progress.show(printer.count());
    }
  } catch (const AnyError& error) {
    progress.clear();
    Failure failure =
        Failure::of(error, "list the files of " + account.userEmail(), context.options.keychain);
    constexpr int badRequest = 400;  // what Drive answers to a token that is too old or was never one
    if (printer.count() == 0 && options.pageToken && error.code() == badRequest)
      failure.remedy = "Begin without --page-token: a page token is good for some hours only.";
    if (printer.count() > 0 && walker.resumeToken())
      failure.remedy += " Go on where the listing stopped with " + pageTokenOption(*walker.resumeToken());
    throw failure;
  }
  progress.clear();
  if (printer.count() == 0) context.note("There are no files.");
  if (walker.resumeToken()) tellNextPage(context, *walker.resumeToken());
  return ExitCode::ok;
}

}  // namespace corvane::cli
