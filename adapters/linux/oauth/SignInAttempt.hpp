#pragma once

#include "AuthorizationRequest.hpp"
#include "BrowserSignInService.hpp"
#include "CallbackRequest.hpp"
#include "LoopbackListener.hpp"
#include "OneUseAddress.hpp"
#include "TokenEndpoint.hpp"

#include <Corvane/CancellableSlot.hpp>
#include <CorvanePlatform/SignInService.hpp>
#include <CorvanePlatform/URL.hpp>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// One sign-in from the opening of the port to the handler's call.
///
/// The problem: four parties on four threads (the browser, the token endpoint, the presenter, the host) may
/// each bring it to an end, at the same time, and memory may run out under any of them. The idea: a phase under
/// one lock; whoever moves it on decides, the others find the phase gone and do nothing. The lock is held for
/// the phase and the handler only, never while anyone is called. Everything that telling the end takes is made
/// beforehand, so whoever ends the sign-in makes its outcome first, then moves the phase, and cannot fail then.
class SignInAttempt final : public std::enable_shared_from_this<SignInAttempt> {
 public:
  SignInAttempt(const QVTessoraCredentials& credentials, const URL& successURL,
                const SignInEnvironment& environment, QVTessoraService::Handler handler);

  /// Opens the port; to be called before anyone else knows the attempt.
  void open();
  /// Opens the page, or delivers the failure to open the port.
  void present(const WindowHandle& window);
  void cancel();

 private:
  enum class Phase { waiting, exchanging, over };
  struct Outcome {
    std::shared_ptr<AuthSession> session;
    std::optional<NSError> error;
  };

  void openListener();
  std::optional<std::string> answer(const LoopbackRequest& request);
  std::optional<std::string> answerVisit(OneUseAddress::Visit visit);
  std::optional<std::string> hold(Callback callback);
  void exchange(const Secret& code);
  void exchanged(Result<TokenResponse, NSError> result) noexcept;
  Outcome judge(Result<TokenResponse, NSError> result) const;
  bool isWanted(const std::string& email) const;
  void dismissed() noexcept;
  void timedOut();
  void memoryRanOut() noexcept;
  void conclude(std::string reply, Outcome outcome) noexcept;
  void deliver() noexcept;
  void callHandler();

  bool moveOn(Phase from, Phase to);
  bool isOver();
  bool end();

  const QVTessoraCredentials credentials_;
  const URL successURL_;
  const SignInEnvironment environment_;
  const TokenEndpoint endpoint_;
  const NSError outOfMemory_;

  // Set by `open`, unchanged afterwards.
  std::optional<NSError> failure_;
  std::unique_ptr<LoopbackListener> listener_;
  std::optional<AuthorizationRequest> request_;
  std::optional<ExpectedCallback> expected_;
  std::string page_;
  std::optional<OneUseAddress> address_;  // judged on the listener's thread
  std::shared_ptr<Block> delivery_;

  CancellableSlot presentation_;
  CancellableSlot exchange_;

  std::mutex mutex_;
  Phase phase_ = Phase::waiting;
  QVTessoraService::Handler handler_;
  // Whoever moved the phase to its end.
  Outcome outcome_;
  UniqueFunction<void()> whenClosed_;
};

}  // namespace corvane
