#include "GoogleDriveAuthorizationProvider.hpp"

#include <Corvane/ExceptionErrors.hpp>

#include "GoogleDriveAuthorizationProvider/SignInHandler.hpp"
#include "GoogleDriveAuthorizationProvider/SuccessURL.hpp"
#include "Publishers/HandleEvents.hpp"
#include "Publishers/MadeOrFailing.hpp"
#include "TessoraCredentials.hpp"

#include <exception>
#include <new>
#include <utility>

namespace corvane {

using SignInError = GoogleDriveAuthorizationProviderError;

namespace {

void removeSession(GoogleAccountsStoreType& store, const GoogleDriveAccountModel& account,
                   const Subscriber<Void, AnyError>& subscriber) {
  try {
    store.removeAuthSession(account.userEmail());
  } catch (const std::exception& exception) {
    subscriber.fail(errorOfException(exception));
    return;
  }
  subscriber.succeed(Void{});
}

}  // namespace

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
  trackStarted();
  try {
    return makeSignIn();
  } catch (const std::bad_alloc&) {
    trackFinished(Completion<SignInError>::failure(SignInError(outOfMemory())));
    return failingWithoutMemory<GoogleDriveAccountModel, SignInError>();
  }
}

GoogleDriveAuthorizationProvider::SignInPublisher GoogleDriveAuthorizationProvider::makeSignIn() {
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
  SignInHandler handler(tokenStorage_, subscriber, log_);
  try {
    auto service = makeSignInService_(*credentials_, successURL_);
    service->runSignIn(*window, handler);
    return AnyCancellable([service = std::move(service)] { service->cancel(); });
  } catch (const std::exception& exception) {
    handler.fail(errorOfException(exception));
    return {};
  }
}

void GoogleDriveAuthorizationProvider::trackStarted() const noexcept {
  if (nfrTracker_) nfrTracker_->trackSignInStarted();
}

void GoogleDriveAuthorizationProvider::trackFinished(
    const Completion<SignInError>& completion) const noexcept {
  if (!nfrTracker_) return;
  using Outcome = Result<Void, SignInError>;
  nfrTracker_->trackSignInFinished(completion.isFinished() ? Outcome::success(Void{})
                                                           : Outcome::failure(completion.error()));
}

AnyPublisher<Void> GoogleDriveAuthorizationProvider::signOut(GoogleDriveAccountModel account) {
  return madeOrFailing<Void, AnyError>([&] {
    auto start = [store = tokenStorage_, pool = taskPool_, account = std::move(account)](
                     const Subscriber<Void, AnyError>& subscriber) -> AnyCancellable {
      pool->async([store, account, subscriber] { removeSession(*store, account, subscriber); });
      // A removal that has been asked for runs to its end; a cancelled subscription just does not
      // hear of it.
      return {};
    };
    DropRule<AnyError> unanswered{
        NSError(NSURLErrorDomain, NSURLErrorCancelled,
                {{std::string(NSLocalizedDescriptionKey), "Google Drive sign-out was abandoned."}}),
        {}};
    return AnyPublisher<Void>::create(std::move(start), std::move(unanswered));
  });
}

}  // namespace corvane
