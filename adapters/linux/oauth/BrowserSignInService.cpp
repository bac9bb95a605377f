#include "BrowserSignInService.hpp"

#include "SignInAttempt.hpp"

#include <utility>

namespace corvane {

BrowserSignInService::BrowserSignInService(QVTessoraCredentials credentials, URL successURL,
                                           SignInEnvironment environment)
    : credentials_(std::move(credentials)),
      successURL_(std::move(successURL)),
      environment_(std::move(environment)) {}

BrowserSignInService::~BrowserSignInService() {
  BrowserSignInService::cancel();
}

void BrowserSignInService::runSignIn(const WindowHandle& window, Handler handler) {
  const auto attempt =
      std::make_shared<SignInAttempt>(credentials_, successURL_, environment_, std::move(handler));
  attempt->open();
  std::unique_lock lock(mutex_);
  const auto former = std::exchange(attempt_, attempt);
  lock.unlock();
  if (former) former->cancel();
  attempt->present(window);
}

void BrowserSignInService::cancel() {
  std::unique_lock lock(mutex_);
  const auto attempt = std::exchange(attempt_, nullptr);
  lock.unlock();
  if (attempt) attempt->cancel();
}

}  // namespace corvane
