#pragma once

#include <Corvane/AnyError.hpp>
#include <CorvanePlatform/AuthSession.hpp>
#include <CorvanePlatform/SessionArchive.hpp>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace corvane::test {

/// A session that is its e-mail address and hands out one fixed token.
class FakeSession final : public AuthSession {
 public:
  explicit FakeSession(std::optional<std::string> userEmail) : userEmail_(std::move(userEmail)) {}

  std::optional<std::string> userEmail() const override { return userEmail_; }
  AnyCancellable accessToken(std::optional<Secret>, TokenHandler handler) override {
    handler(Result<Secret, NSError>::success(Secret("fake-access-token")));
    return {};
  }

 private:
  std::optional<std::string> userEmail_;
};

/// Archives a fake session as "session:EMAIL"; bytes of any other form are damaged.
class FakeSessionArchive final : public SessionArchive {
 public:
  static NSError damaged() {
    return NSError("FakeSessionArchive", 1, {{std::string(NSLocalizedDescriptionKey), "damaged archive"}});
  }

  Data encode(const AuthSession& session) const override {
    if (failing) throw AnyError(damaged());
    return dataFromText("session:" + session.userEmail().value_or(""));
  }

  std::shared_ptr<AuthSession> decode(const Data& archive) const override {
    const std::string_view text = textView(archive);
    constexpr std::string_view prefix = "session:";
    if (!text.starts_with(prefix)) throw AnyError(damaged());
    return std::make_shared<FakeSession>(std::string(text.substr(prefix.size())));
  }

  bool failing = false;
};

}  // namespace corvane::test
