#include "Commands.hpp"

#include "../Failure.hpp"
#include "../KeychainWords.hpp"
#include "../Pending.hpp"
#include "../present/Escape.hpp"
#include "../present/JSONLines.hpp"

#include <Corvane/ErrorKind.hpp>
#include <Corvane/GoogleDriveAuthorizationProviderError.hpp>
#include <CorvanePlatform/SignInService.hpp>

namespace corvane::cli {
namespace {

using PendingSignIn = Pending<GoogleDriveAccountModel, GoogleDriveAuthorizationProviderError>;

bool isTimedOut(const AnyError& error) {
  return error.domain() == signInServiceErrorDomain && error.code() == signInTimedOutCode;
}

/// A session that could not be saved does not say why; the keychain knows.
Failure signInFailure(const Context& context, const AnyError& error) {
  Failure failure = Failure::of(error, "sign in", context.options.keychain);
  const auto typed = error.as<GoogleDriveAuthorizationProviderError>();
  if (typed && typed->underlying() && isTimedOut(*typed->underlying())) {
    failure.kind = "timedOut";
    failure.remedy += " --timeout S allows more time.";
  }
  const OSStatus status = context.keychain.lastFailure();
  if (typed && typed->kind() == GoogleDriveAuthorizationProviderError::Case::tokenSaveFailed &&
      status != errSecSuccess) {
    failure.ofKeychain = status;
    failure.why = keychainReason(status, context.options.keychain);
    failure.remedy = keychainRemedy(status, context.options.keychain);
  }
  return failure;
}

/// A keychain that cannot be had is told before the user goes through the consent. Damaged sessions are no obstacle:
/// signing in is what replaces them. That the whole file is damaged looks the same here, and shows with the save.
void requireKeychain(const Context& context) {
  try {
    await(context.factory.makeAccountProvider()->getAccounts(), context.interrupt);
  } catch (const AnyError& error) {
    const auto status = keychainStatus(error);
    const bool damaged = status == errSecDecode && context.options.keychain == KeychainBackend::encryptedFile;
    if (status == errSecItemNotFound || damaged) return context.keychain.forgetFailure();
    throw Failure::of(error, "read the accounts that are signed in", context.options.keychain);
  }
}

GoogleDriveAccountModel signIn(const Context& context) {
  PendingSignIn pending(context.factory.makeAuthorizationProvider(nullptr)->signIn());
  if (pending.wait(context.interrupt) == PendingSignIn::Wake::interrupted) {
    context.presenter.dismiss();
    pending.waitForAnswer();
  }
  try {
    return pending.take();
  } catch (const AnyError& error) {
    throw signInFailure(context, error);
  }
}

}  // namespace

ExitCode run(const Context& context, const SignInOptions&) {
  requireKeychain(context);
  const auto account = signIn(context);
  context.out.lineOfDeed(context.options.json ? jsonObject([&account](KeyedEncodingContainer& object) {
    object.encode(std::string_view(account.userEmail()), CodingKey("userEmail"));
    object.encode(true, CodingKey("signedIn"));
  })
                                              : "Signed in as " + escapedName(account.userEmail()));
  return ExitCode::ok;
}

}  // namespace corvane::cli
