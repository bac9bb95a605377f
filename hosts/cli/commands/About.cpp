#include "Commands.hpp"

#include "../Failure.hpp"
#include "../Pending.hpp"
#include "../SignedInAccounts.hpp"
#include "../present/AboutPage.hpp"
#include "../present/JSONLines.hpp"

namespace corvane::cli {
namespace {

About aboutOf(const Context& context, const GoogleDriveAccountModel& account) {
  const auto api = context.factory.makeAPI(account);
  try {
    return await(api->getAbout(), context.interrupt);
  } catch (const AnyError& error) {
    throw Failure::of(error, "read the profile and quota of " + account.userEmail(),
                      context.options.keychain);
  }
}

}  // namespace

ExitCode run(const Context& context, const AboutOptions& options) {
  const About about = aboutOf(context, chosenAccount(context, options.account));
  if (context.options.json)
    context.out.line(jsonLine(about));
  else
    context.out.text(aboutPage(about, context.style));
  return ExitCode::ok;
}

}  // namespace corvane::cli
