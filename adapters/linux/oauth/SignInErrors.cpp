#include "SignInErrors.hpp"

#include "OAuthErrors.hpp"
#include "SignInRefusals.hpp"

#include <Corvane/AnyError.hpp>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace corvane {

namespace {

UserInfo words(std::string what, std::string_view advice) {
  UserInfo info;
  if (!advice.empty()) {
    what.append(" ").append(advice);
    info.emplace(NSLocalizedRecoverySuggestionErrorKey, advice);
  }
  info.emplace(NSLocalizedDescriptionKey, std::move(what));
  return info;
}

NSError serviceError(std::int64_t code, std::string what, std::string_view advice) {
  return NSError(signInServiceErrorDomain, code, words(std::move(what), advice));
}

// A host may show the text in a label that takes markup for its own.
std::string harmless(std::string text, const std::vector<Secret>& secrets) {
  for (const auto& secret : secrets)
    for (auto at = text.find(secret.reveal()); !secret.empty() && at != std::string::npos;
         at = text.find(secret.reveal(), at))
      text.replace(at, secret.reveal().size(), "...");
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '<' || c == '>' || c == '&' || c == '"'; }, '?');
  return oneLine(text);
}

std::string readable(std::chrono::milliseconds limit) {
  const auto seconds = (limit.count() + 999) / 1000;
  const bool wholeMinutes = seconds % 60 == 0;
  const auto number = wholeMinutes ? seconds / 60 : seconds;
  return std::to_string(number) + (wholeMinutes ? " minute" : " second") + (number == 1 ? "" : "s");
}

}  // namespace

NSError listenerError(std::string_view reason) {
  return serviceError(signInNoPortCode,
                      "The sign-in could not open a port on this computer's loopback address, which the "
                      "browser needs to come back to: " +
                          std::string(reason) + ".",
                      {});
}

NSError signInMemoryError() {
  return describedError("NSPOSIXErrorDomain", ENOMEM, "There is not enough memory to sign in.");
}

NSError missingScopesError() {
  return serviceError(signInMissingScopesCode, "Access to Google Drive was not granted.",
                      "Sign in again and tick the box that allows it.");
}

NSError noRefreshTokenError() {
  return serviceError(signInNoRefreshTokenCode,
                      "The sign-in brought no refresh token, so it would last for an hour only.",
                      "Remove this program's access in the Google account's settings, then sign in again.");
}

NSError foreignIssuerError() {
  return serviceError(signInForeignIssuerCode,
                      "The sign-in was answered by another server than the one that was asked.",
                      "Sign in again.");
}

NSError dismissedError() {
  const NSError underlying(webAuthenticationSessionErrorDomain, webAuthenticationCancelledCode);
  UserInfo info = words("The sign-in was dismissed.", {});
  info.emplace(NSUnderlyingErrorKey, AnyError(underlying));
  return NSError(oauthGeneralErrorDomain, oauthUserCancelledCode, std::move(info));
}

NSError openedTwiceError() {
  return serviceError(
      signInOpenedTwiceCode,
      "The sign-in address was opened twice: another program on this machine may have seen it. "
      "Nothing was stored.",
      "Sign in again, and open the page in one browser only.");
}

NSError otherAccountError(const std::string& expected, const std::string& chosen) {
  const std::string advice = "Sign in again and choose " + expected + " on Google's page.";
  UserInfo info = words("The sign-in was for " + expected + ", but " + chosen +
                            " was chosen in the browser. Nothing was stored.",
                        advice);
  info.emplace(signInExpectedAccountKey, expected);
  info.emplace(signInChosenAccountKey, chosen);
  return NSError(signInServiceErrorDomain, signInOtherAccountCode, std::move(info));
}

// Google tells these on its own page only, and never sends the browser back (Google's OAuth guide, "Unverified apps").
NSError timedOutError(std::chrono::milliseconds limit) {
  return serviceError(signInTimedOutCode,
                      "The sign-in was not finished in the browser within " + readable(limit) + ".",
                      "Sign in again. If Google's page says \"Access blocked\" or that the app is not "
                      "verified, the program's "
                      "developer has to add the account to the test users of its OAuth client, or to have "
                      "the client verified; "
                      "in an organisation, the administrator has to allow it.");
}

NSError refusalError(const CallbackRefusal& refusal, const std::vector<Secret>& secrets) {
  const auto& known = refusalNamed(refusal.error);
  const std::string name = harmless(refusal.error, secrets);
  const std::string description = harmless(refusal.description, secrets);
  std::string what(known.sentence);
  if (known.name.empty()) what += " (" + name + ")";
  what += ".";
  if (!description.empty()) what += " Google says: \"" + description + "\".";

  UserInfo response;
  response.emplace("error", name);
  if (!description.empty()) response.emplace("error_description", description);
  UserInfo info = words(std::move(what), known.advice);
  info.emplace(oauthErrorResponseKey, std::move(response));
  return NSError(oauthAuthorizationErrorDomain, oauthErrorCode(refusal.error), std::move(info));
}

}  // namespace corvane
