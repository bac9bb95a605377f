#pragma once

#include "FlowFixture.hpp"

#include "integration/oauth/PlainBrowser.hpp"
#include "support/FakeKeychain.hpp"

#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

#include <chrono>
#include <mutex>
#include <vector>

namespace corvane::test {

/// Notes what a sign-in is measured to do. Any thread.
class NotingTracker final : public GoogleDriveAuthorizationNFRTrackerType {
 public:
  using Outcome = Result<Void, GoogleDriveAuthorizationProviderError>;

  void trackSignInStarted() override { note("started"); }
  void trackSignInFinished(const Outcome& result) override { note(result ? "succeeded" : "failed"); }

  std::vector<std::string> events() const {
    const std::lock_guard guard(mutex_);
    return events_;
  }

 private:
  void note(std::string event) {
    const std::lock_guard guard(mutex_);
    events_.push_back(std::move(event));
  }

  mutable std::mutex mutex_;
  std::vector<std::string> events_;
};

/// Sign-ins on the real platform whose browser is the test, and whose keychain the test can look into.
class SignInFaultFixture : public FlowTest {
 protected:
  using SignInError = GoogleDriveAuthorizationProviderError;
  using SignInResult = Result<GoogleDriveAccountModel, SignInError>;

  static inline const std::string clientSecret = "corvane-demo-secret";

  LinuxPlatformOptions options(const std::string& loginHint = "ada@example.com") {
    LinuxPlatformOptions linux;
    linux.google = GoogleEndpoints::at(google.baseURL());
    linux.keychain = keychain;
    linux.presenter = page;
    linux.loginHint = loginHint;
    linux.log = log;
    linux.limits.stall = std::chrono::seconds{1};
    linux.limits.body = 64u << 10;
    return linux;
  }

  static CorvaneFactory hostOn(Platform platform) {
    return CorvaneFactory(
        dataFromText(R"({"client_id": "corvane-demo-client", "clientSecret": ")" + clientSecret + "\"}"),
        "flows", "", [] { return WindowHandle::terminal(); }, std::move(platform));
  }

  /// Signs in as a user does who agrees to everything; what the browser sees at the end is `lastPage`.
  SignInResult signInWith(GoogleDriveAuthorizationProviderType& provider) {
    auto running = toFuture(provider.signIn());
    callback = page->callback();
    lastPage = getPage(callback);
    return running.get();
  }

  /// Fails if something that a sign-in must keep to itself stands in the text.
  void expectNoSecretIn(const std::string& text, const std::vector<std::string>& more = {}) const {
    auto secrets = more;
    for (const auto* name : {"state", "nonce", "code_challenge"})
      secrets.push_back(parameterOf(page->lastURL(), name));
    secrets.push_back(parameterOf(callback, "code"));
    secrets.push_back(clientSecret);
    std::erase(secrets, "");
    for (const auto& secret : secrets) EXPECT_THAT(text, ::testing::Not(::testing::HasSubstr(secret)));
  }

  /// The log's errors; what it tells at its most talkative is not their business here.
  std::vector<std::string> errorsInTheLog() const {
    std::vector<std::string> errors;
    for (const auto& line : log->lines())
      if (line.level == "error") errors.push_back(line.message);
    return errors;
  }

  void expectNoSecretInTheLog(const std::vector<std::string>& more = {}) const {
    for (const auto& line : log->messages()) expectNoSecretIn(line, more);
  }

  std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
  std::shared_ptr<NotingPresenter> page = std::make_shared<NotingPresenter>();
  std::shared_ptr<NotingTracker> tracker = std::make_shared<NotingTracker>();
  std::string callback;
  std::string lastPage;
};

}  // namespace corvane::test
