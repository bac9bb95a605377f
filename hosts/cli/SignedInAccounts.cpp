#include "SignedInAccounts.hpp"

#include "Failure.hpp"
#include "Pending.hpp"
#include "present/Escape.hpp"

#include <Corvane/GoogleAccountsStoreError.hpp>

#include <algorithm>

namespace corvane::cli {
namespace {

std::string listed(const std::vector<GoogleDriveAccountModel>& accounts) {
  std::string names;
  for (const auto& account : accounts) names += (names.empty() ? "" : ", ") + account.userEmail();
  return names;
}

}  // namespace

std::vector<GoogleDriveAccountModel> storedAccounts(const Context& context) {
  try {
    return await(context.factory.makeAccountProvider()->getAccounts(), context.interrupt);
  } catch (const AnyError& error) {
    const auto typed = error.as<GoogleAccountsStoreError>();
    if (typed && typed->kind() == GoogleAccountsStoreError::Case::keysNotFound) return {};
    throw Failure::of(error, "read the accounts that are signed in", context.options.keychain);
  }
}

std::vector<GoogleDriveAccountModel> signedInAccounts(const Context& context) {
  auto accounts = storedAccounts(context);
  if (accounts.empty()) throw Failure::notSignedIn("No account is signed in.");
  std::sort(accounts.begin(), accounts.end(),
            [](const auto& left, const auto& right) { return left.userEmail() < right.userEmail(); });
  return accounts;
}

GoogleDriveAccountModel chosenAccount(const Context& context,
                                      const std::optional<std::string>& given) {
  return choose(signedInAccounts(context), given);
}

GoogleDriveAccountModel choose(const std::vector<GoogleDriveAccountModel>& accounts,
                               const std::optional<std::string>& given) {
  if (!given) {
    if (accounts.size() == 1) return accounts.front();
    throw Failure::usage(
        "Several accounts are signed in: " + listed(accounts) + ".",
        "Name one: `corvane about ACCOUNT`, `corvane ls ACCOUNT`, or --account A with `trash` and `rm`.");
  }
  const auto found = std::find(accounts.begin(), accounts.end(), GoogleDriveAccountModel(*given));
  if (found != accounts.end()) return *found;
  throw Failure::notSignedIn(*given + " is not signed in.");
}

}  // namespace corvane::cli
