#pragma once

#include "HTTPClient.hpp"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace corvane::test {

/// An HTTP client whose answers a test gives, from the thread and at the time that it likes.
class ScriptedHTTPClient final : public HTTPClient {
 public:
  class Exchange final : public Cancellable {
   public:
    explicit Exchange(HTTPRequest sent, HTTPHandler handler)
        : request(std::move(sent)), handler_(std::move(handler)) {}

    std::string form() const { return std::string(textView(request.body)); }
    bool isCancelled() const {
      const std::lock_guard lock(mutex_);
      return isCancelled_;
    }

    void answer(int status, std::string_view body) {
      HTTPResponse response;
      response.status = status;
      response.body = dataFromText(body);
      answer(std::move(response));
    }
    void answer(HTTPResponse response) {
      complete(Result<HTTPResponse, NSError>::success(std::move(response)));
    }
    void fail(NSError error) { complete(Result<HTTPResponse, NSError>::failure(std::move(error))); }
    /// Releases the handler uncalled, as a client does that is stopped.
    void drop() { takeHandler(); }

    void cancel() noexcept override {
      std::unique_lock lock(mutex_);
      isCancelled_ = true;
      const auto handler = std::move(handler_);
      lock.unlock();
    }

    const HTTPRequest request;

   private:
    HTTPHandler takeHandler() {
      const std::lock_guard lock(mutex_);
      return std::move(handler_);
    }
    void complete(Result<HTTPResponse, NSError> result) {
      if (const auto handler = takeHandler()) handler(std::move(result));
    }

    mutable std::mutex mutex_;
    HTTPHandler handler_;
    bool isCancelled_ = false;
  };

  std::shared_ptr<Cancellable> send(HTTPRequest request, HTTPHandler handler) override {
    auto exchange = std::make_shared<Exchange>(std::move(request), std::move(handler));
    const std::lock_guard lock(mutex_);
    waiting_.push_back(exchange);
    ++sent_;
    arrived_.notify_all();
    return exchange;
  }
  void cancelAll() override {}
  void resetSession() override {}

  /// The oldest request that no test has taken yet; waits for it.
  std::shared_ptr<Exchange> next() {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this] { return !waiting_.empty(); });
    auto exchange = std::move(waiting_.front());
    waiting_.pop_front();
    return exchange;
  }

  std::size_t sent() const {
    const std::lock_guard lock(mutex_);
    return sent_;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::shared_ptr<Exchange>> waiting_;
  std::size_t sent_ = 0;
};

}  // namespace corvane::test
