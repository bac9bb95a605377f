#pragma once

#include <CorvanePlatform/SignInService.hpp>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace corvane::test {

/// A sign-in that goes on until the test ends it.
class FakeSignInService final : public QVTessoraService {
 public:
  FakeSignInService(QVTessoraCredentials client, URL finalPage)
      : credentials(std::move(client)), successURL(std::move(finalPage)) {}

  void runSignIn(const WindowHandle& window, Handler handler) override {
    presentedOver = window;
    handler_ = std::move(handler);
  }
  void cancel() override {
    ++cancellations;
    if (!keepsHandler) dropHandler();
  }

  /// Calls the handler, which is gone afterwards; nothing happens if it is already.
  void finish(std::shared_ptr<AuthSession> session, std::optional<NSError> error) {
    const Handler handler = std::move(handler_);
    if (handler) handler(std::move(session), std::move(error));
  }
  /// Lets go of the handler without an answer.
  void dropHandler() { const Handler released = std::move(handler_); }

  const QVTessoraCredentials credentials;
  const URL successURL;
  std::optional<WindowHandle> presentedOver;
  /// Whether it may call its handler although it was cancelled, as a careless service does.
  bool keepsHandler = false;
  int cancellations = 0;

 private:
  Handler handler_;
};

/// Makes fake sign-in services and remembers them.
class FakeSignInServices {
 public:
  SignInServiceMaker maker() {
    return [this](const QVTessoraCredentials& credentials, const URL& successURL) {
      made.push_back(std::make_shared<FakeSignInService>(credentials, successURL));
      return made.back();
    };
  }
  std::vector<std::shared_ptr<FakeSignInService>> made;
};

}  // namespace corvane::test
