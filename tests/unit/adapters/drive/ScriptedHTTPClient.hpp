#pragma once

#include <HTTPClient.hpp>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace corvane::test {

inline HTTPResponse response(int status, std::string_view body = {}) {
  HTTPResponse answer;
  answer.status = status;
  answer.body.reserve(body.size() + HTTPResponse::padding);
  for (const char c : body) answer.body.push_back(static_cast<std::byte>(c));
  return answer;
}

/// An HTTP client whose network is the test: requests wait until the test answers them.
class ScriptedHTTPClient final : public HTTPClient {
 public:
  struct Exchange {
    HTTPRequest request;
    HTTPHandler handler;
    bool cancelled = false;
  };

  ~ScriptedHTTPClient() override { releaseAll(); }

  std::shared_ptr<Cancellable> send(HTTPRequest request, HTTPHandler handler) override {
    if (isUnable_) throw std::system_error(EAGAIN, std::generic_category());
    auto exchange = std::make_shared<Exchange>();
    exchange->request = std::move(request);
    exchange->handler = std::move(handler);
    const std::lock_guard lock(state_->mutex);
    state_->exchanges.push_back(exchange);
    return std::make_shared<Hold>(state_, exchange);
  }

  /// From now on it takes no request, as when no thread can be started for one.
  void becomeUnable() { isUnable_ = true; }

  void cancelAll() override { releaseAll(); }
  void resetSession() override {
    const std::lock_guard lock(state_->mutex);
    ++state_->resets;
  }

  /// Answers the n-th request ever sent, on this thread; does nothing when it is answered or cancelled already.
  void answer(std::size_t index, Result<HTTPResponse, NSError> result) {
    HTTPHandler handler;
    {
      const std::lock_guard lock(state_->mutex);
      handler = std::exchange(state_->exchanges.at(index)->handler, nullptr);
    }
    if (handler) handler(std::move(result));
  }
  void answer(std::size_t index, int status, std::string_view body = {}) {
    answer(index, Result<HTTPResponse, NSError>::success(response(status, body)));
  }

  std::size_t sent() const {
    const std::lock_guard lock(state_->mutex);
    return state_->exchanges.size();
  }
  /// A request as it was sent.
  const HTTPRequest& request(std::size_t index) const {
    const std::lock_guard lock(state_->mutex);
    return state_->exchanges.at(index)->request;
  }
  bool wasCancelled(std::size_t index) const {
    const std::lock_guard lock(state_->mutex);
    return state_->exchanges.at(index)->cancelled;
  }
  int resets() const {
    const std::lock_guard lock(state_->mutex);
    return state_->resets;
  }

 private:
  struct State {
    mutable std::mutex mutex;
    std::vector<std::shared_ptr<Exchange>> exchanges;
    int resets = 0;
  };

  struct Hold final : Cancellable {
    Hold(std::shared_ptr<State> s, std::shared_ptr<Exchange> e)
        : state(std::move(s)), exchange(std::move(e)) {}
    void cancel() noexcept override {
      HTTPHandler released;
      const std::lock_guard lock(state->mutex);
      if (!exchange->handler) return;
      exchange->cancelled = true;
      released = std::exchange(exchange->handler, nullptr);
    }
    std::shared_ptr<State> state;
    std::shared_ptr<Exchange> exchange;
  };

  void releaseAll() {
    std::vector<HTTPHandler> released;
    const std::lock_guard lock(state_->mutex);
    for (const auto& exchange : state_->exchanges) {
      if (!exchange->handler) continue;
      exchange->cancelled = true;
      released.push_back(std::exchange(exchange->handler, nullptr));
    }
  }

  std::shared_ptr<State> state_ = std::make_shared<State>();
  bool isUnable_ = false;
};

}  // namespace corvane::test
