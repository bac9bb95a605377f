#pragma once

#include "Context.hpp"

#include <Corvane/GoogleDriveAccountModel.hpp>

#include <optional>
#include <string>
#include <vector>

namespace corvane::cli {

/// The accounts that the keychain holds, in its order; none is no failure. Throws a Failure when it cannot be read.
std::vector<GoogleDriveAccountModel> storedAccounts(const Context& context);

/// The accounts that are signed in, by name. Throws a Failure when there is none.
std::vector<GoogleDriveAccountModel> signedInAccounts(const Context& context);

/// The account that a command is about: the given one, which must be signed in, or the only one when none is given.
GoogleDriveAccountModel chosenAccount(const Context& context,
                                      const std::optional<std::string>& given);

/// The same among accounts already read, which must not be empty.
GoogleDriveAccountModel choose(const std::vector<GoogleDriveAccountModel>& accounts,
                               const std::optional<std::string>& given);

}  // namespace corvane::cli
