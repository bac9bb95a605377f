#include "Commands.hpp"

#include "../Failure.hpp"
#include "../Pending.hpp"
#include "../SignedInAccounts.hpp"
#include "../present/Escape.hpp"
#include "../present/JSONLines.hpp"

namespace corvane::cli {

ExitCode run(const Context& context, const SignOutOptions& options) {
  const auto account = chosenAccount(context, options.account);
  try {
    await(context.factory.makeAuthorizationProvider(nullptr)->signOut(account), context.interrupt);
  } catch (const AnyError& error) {
    throw Failure::of(error, "sign " + account.userEmail() + " out", context.options.keychain);
  }
  context.out.lineOfDeed(
      context.options.json ? jsonObject([&account](KeyedEncodingContainer& object) {
        object.encode(std::string_view(account.userEmail()), CodingKey("userEmail"));
        object.encode(true, CodingKey("signedOut"));
      })
                           : "Signed out " + escapedName(account.userEmail()));
  context.note("Google still lists this program's access at https://myaccount.google.com/connections");
  return ExitCode::ok;
}

}  // namespace corvane::cli
