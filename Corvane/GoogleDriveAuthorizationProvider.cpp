#include "GoogleDriveAuthorizationProvider.hpp"

#include "GoogleDriveAuthorizationProvider/SignInHandler.hpp"
#include "GoogleDriveAuthorizationProvider/SuccessURL.hpp"
#include "Publishers/HandleEvents.hpp"
#include "TessoraCredentials.hpp"

#include <utility>

namespace corvane {

using SignInError = GoogleDriveAuthorizationProviderError;

GoogleDriveAuthorizationProvider::GoogleDriveAuthorizationProvider(
    const std::optional<Data>& credentials, std::shared_ptr<GoogleAccountsStoreType> tokenStorage,
    MainAppWindow mainAppWindow, std::shared_ptr<GoogleDriveAuthorizationNFRTrackerType> nfrTracker,
    const Platform& platform)
    : credentials_(decodeCredentials(credentials, *platform.json)),
      tokenStorage_(std::move(tokenStorage)),
      mainAppWindow_(std::move(mainAppWindow)),
      nfrTracker_(std::move(nfrTracker)),
      successURL_(urlOfConstant(successURLString)),
      makeSignInService_(platform.makeSignInService),
      taskPool_(platform.taskPool),
      log_(platform.log) {}

GoogleDriveAuthorizationProvider::SignInPublisher GoogleDriveAuthorizationProvider::signIn() {
  if (nfrTracker_) nfrTracker_->trackSignInStarted();

  const auto weakSelf = weak_from_this();
  auto start = [weakSelf](const SignInSubscriber& subscriber) -> AnyCancellable {
    const auto self = weakSelf.lock();
    if (self) return self->startSignIn(subscriber);
    subscriber.fail(SignInError::missingCredentials());
    return {};
  };
  const DropRule<SignInError> unanswered{SignInError::signInFailedUnknown(), {}};
  return handleEvents(SignInPublisher::create(std::move(start), unanswered),
                      [weakSelf](const auto& completion) {
                        if (const auto self = weakSelf.lock()) self->trackFinished(completion);
                      });
}

AnyCancellable GoogleDriveAuthorizationProvider::startSignIn(const SignInSubscriber& subscriber) const {
  if (!credentials_) {
    subscriber.fail(SignInError::missingCredentials());
    return {};
  }
  const auto window = mainAppWindow_();
  if (!window) {
    subscriber.fail(SignInError::presentingWindowUnavailable());
    return {};
  }
  auto service = makeSignInService_(*credentials_, successURL_);
  service->runSignIn(*window, SignInHandler(tokenStorage_, subscriber, log_));
  return AnyCancellable([service = std::move(service)] { service->cancel(); });
}

void GoogleDriveAuthorizationProvider::trackFinished(const Completion<SignInError>& completion) const {
  if (!nfrTracker_) return;
  using Outcome = Result<Void, SignInError>;
  nfrTracker_->trackSignInFinished(completion.isFinished() ? Outcome::success(Void{})
                                                           : Outcome::failure(completion.error()));
}

AnyPublisher<Void> GoogleDriveAuthorizationProvider::signOut(GoogleDriveAccountModel account) {
  auto start = [store = tokenStorage_, pool = taskPool_, account = std::move(account)](
                   const Subscriber<Void, AnyError>& subscriber) -> AnyCancellable {
    pool->async([store, account, subscriber] {
      try {
        store->removeAuthSession(account.userEmail());
      } catch (const AnyError& error) {
        subscriber.fail(error);
        return;
      }
      subscriber.succeed(Void{});
    });
    // A removal that has been asked for runs to its end; a cancelled subscription just does not hear of it.
    return {};
  };
  const DropRule<AnyError> unanswered{
      NSError(NSURLErrorDomain, NSURLErrorCancelled,
              {{std::string(NSLocalizedDescriptionKey), "The sign-out was abandoned."}}),
      {}};
  return AnyPublisher<Void>::create(std::move(start), unanswered);
}

}  // namespace corvane
