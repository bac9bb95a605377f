#include "Commands.hpp"

#include "../SignedInAccounts.hpp"
#include "../present/Escape.hpp"
#include "../present/JSONLines.hpp"

namespace corvane::cli {

ExitCode run(const Context& context, const AccountsOptions&) {
  for (const auto& account : signedInAccounts(context)) {
    context.out.line(context.options.json ? jsonObject([&account](KeyedEncodingContainer& object) {
      object.encode(std::string_view(account.userEmail()), CodingKey("userEmail"));
    })
                                          : escapedName(account.userEmail()));
  }
  return ExitCode::ok;
}

}  // namespace corvane::cli
