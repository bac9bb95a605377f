#include "SignInHandler.hpp"

#include <Corvane/ExceptionErrors.hpp>

#include "SignInErrorMapping.hpp"

#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

namespace {

constexpr LogCategory category("GoogleDriveAuthorization");
constexpr std::string_view source = "Corvane/GoogleDriveAuthorizationProvider";
constexpr int noContext = 0;
constexpr bool asynchronous = true;

std::string line(std::string_view what, const AnyError& error) {
  try {
    const NSError bridged = error.nsError();
    return "Google Drive " + std::string(what) + " [" + bridged.domain() + " " +
           std::to_string(bridged.code()) + "]: " + bridged.localizedDescription();
  } catch (const std::bad_alloc&) {
    return "out of memory";  // short enough to need none
  }
}

void logError(Lumark& log, std::string_view what, const AnyError& error) noexcept {
  log.logError(
      category, [&] { return line(what, error); }, noContext, asynchronous, source);
}

std::optional<std::string> userEmailOf(const std::shared_ptr<AuthSession>& session) {
  return session ? session->userEmail() : std::nullopt;
}

}  // namespace

void SignInHandler::operator()(const std::shared_ptr<AuthSession>& session,
                               const std::optional<NSError>& error) const {
  try {
    if (const auto userEmail = userEmailOf(session)) {
      save(*session, *userEmail);
    } else {
      end(error);
    }
  } catch (const std::exception& exception) {
    fail(errorOfException(exception));
  }
}

void SignInHandler::fail(const AnyError& error) const {
  logError(*log_, "sign-in failed", error);
  subscriber_.fail(GoogleDriveAuthorizationProviderError::signInFailed(error));
}

void SignInHandler::save(const AuthSession& session, const std::string& userEmail) const {
  GoogleDriveAccountModel account(userEmail);
  try {
    tokenStorage_->saveAuthSession(session, userEmail);
  } catch (const std::exception& exception) {
    logError(*log_, "token save failed", errorOfException(exception));
    subscriber_.fail(GoogleDriveAuthorizationProviderError::tokenSaveFailed());
    return;
  }
  subscriber_.succeed(std::move(account));
}

void SignInHandler::end(const std::optional<NSError>& error) const {
  auto mapped = mapSignInError(error);
  if (mapped.kind() == GoogleDriveAuthorizationProviderError::Case::signInFailed && error)
    logError(*log_, "sign-in failed", *error);
  subscriber_.fail(std::move(mapped));
}

}  // namespace corvane
