#include "Commands.hpp"

#include "../Failure.hpp"
#include "../KeychainWords.hpp"
#include "../SignedInAccounts.hpp"
#include "../StoredSession.hpp"
#include "../present/JSONLines.hpp"
#include "../present/SessionStatus.hpp"

namespace corvane::cli {
namespace {

/// What the encrypted file is good for, so that nobody relies on more.
constexpr const char* limitsOfTheFile =
    "  Other users of this computer cannot read them, nor can who has a copy of keychain.db "
    "alone.\n"
    "  Programs that you run can, and so can who has a copy of the whole folder: the key lies "
    "beside the "
    "file.\n";

void tellKeychain(const Context& context) {
  const auto keychain = context.options.keychain;
  context.out.line(context.options.json ? jsonObject([keychain](KeyedEncodingContainer& object) {
    object.encode(keychainOption(keychain), CodingKey("keychain"));
  })
                                        : "Sessions are kept in " + keychainName(keychain));
  if (!context.options.json && keychain == KeychainBackend::encryptedFile)
    context.out.text(limitsOfTheFile);
  context.out.flush();  // asking the keychain may take long, and may fail
}

void tellSession(const Context& context, const GoogleDriveAccountModel& account) {
  const auto session =
      storedSession(context.platform, keychainService(context.options.google), account);
  if (context.options.json)
    context.out.line(sessionStatusLine(account.userEmail(), *session));
  else
    context.out.text(sessionStatus(account.userEmail(), *session, context.style));
}

}  // namespace

ExitCode run(const Context& context, const StatusOptions&) {
  tellKeychain(context);
  ExitCode code = ExitCode::ok;
  for (const auto& account : signedInAccounts(context)) {
    try {
      tellSession(context, account);
    } catch (const AnyError& error) {  // the others may be fine
      const auto failure =
          Failure::of(error, "read the session of " + account.userEmail(), context.options.keychain);
      context.report(failure);
      code = failure.exitCode;
    }
  }
  return code;
}

}  // namespace corvane::cli
