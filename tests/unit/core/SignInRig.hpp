#pragma once

#include <Corvane/CorvaneFactory.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/FakePlatform.hpp"

namespace corvane::test {

/// Notes what it is told, in order.
class FakeTracker final : public GoogleDriveAuthorizationNFRTrackerType {
 public:
  using Outcome = Result<Void, GoogleDriveAuthorizationProviderError>;

  void trackSignInStarted() override {
    threads.push_back(std::this_thread::get_id());
    events.push_back("started");
  }
  void trackSignInFinished(const Outcome& result) override {
    threads.push_back(std::this_thread::get_id());
    events.push_back(result ? "succeeded" : "failed: " + *result.error().errorDescription());
    if (onFinish) onFinish();
  }

  std::vector<std::string> events;
  std::vector<std::thread::id> threads;
  std::function<void()> onFinish;
};

/// An authorization provider over fakes, whose sign-ins the test ends.
class SignInRig {
 public:
  explicit SignInRig(const char* credentials = R"({"client_id": "id", "clientSecret": "secret"})")
      : factory(
            dataFromText(credentials), "service", "group",
            [this]() -> std::optional<WindowHandle> {
              ++windowRequests;
              return window;
            },
            fake.platform()),
        provider(factory.makeAuthorizationProvider(tracker)) {}

  FakeSignInService& service(std::size_t index = 0) { return *fake.signInServices.made.at(index); }
  void succeed(const std::string& email = "ada@example.com") {
    service().finish(std::make_shared<FakeSession>(email), std::nullopt);
  }
  void fail(NSError error) { service().finish(nullptr, std::move(error)); }

  FakePlatform fake;
  std::shared_ptr<FakeTracker> tracker = std::make_shared<FakeTracker>();
  std::optional<WindowHandle> window = WindowHandle::x11(77);
  int windowRequests = 0;
  CorvaneFactory factory;
  std::shared_ptr<GoogleDriveAuthorizationProviderType> provider;
};

}  // namespace corvane::test
