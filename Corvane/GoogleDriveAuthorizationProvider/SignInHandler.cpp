#include "SignInHandler.hpp"

#include "SignInErrorMapping.hpp"

#include <string>
#include <string_view>

namespace corvane {

namespace {

constexpr LogCategory category("GoogleDriveAuthorization");
constexpr std::string_view source = "Corvane/GoogleDriveAuthorizationProvider";
constexpr int noContext = 0;
constexpr bool asynchronous = true;

void logError(Lumark& log, std::string_view what, const AnyError& error) {
  const auto message = [&] {
    const NSError bridged = error.nsError();
    return "Google Drive " + std::string(what) + " [" + bridged.domain() + " " +
           std::to_string(bridged.code()) + "]: " + bridged.localizedDescription();
  };
  log.logError(category, message, noContext, asynchronous, source);
}

}  // namespace

void SignInHandler::operator()(const std::shared_ptr<AuthSession>& session,
                               const std::optional<NSError>& error) const {
  const auto userEmail = session ? session->userEmail() : std::nullopt;
  if (userEmail) {
    save(*session, *userEmail);
  } else {
    fail(error);
  }
}

void SignInHandler::save(const AuthSession& session, const std::string& userEmail) const {
  try {
    tokenStorage_->saveAuthSession(session, userEmail);
  } catch (const AnyError& error) {
    logError(*log_, "token save failed", error);
    subscriber_.fail(GoogleDriveAuthorizationProviderError::tokenSaveFailed());
    return;
  }
  subscriber_.succeed(GoogleDriveAccountModel(userEmail));
}

void SignInHandler::fail(const std::optional<NSError>& error) const {
  auto mapped = mapSignInError(error);
  if (mapped.kind() == GoogleDriveAuthorizationProviderError::Case::signInFailed && error)
    logError(*log_, "sign-in failed", *error);
  subscriber_.fail(std::move(mapped));
}

}  // namespace corvane
