#pragma once

#include "PoolQueue.hpp"
#include "ScriptedServer.hpp"
#include "URLErrors.hpp"
#include "curl/CurlNetwork.hpp"

#include <gmock/gmock.h>
#include <unistd.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace corvane {

// Found by GoogleTest through the type's namespace.
inline void PrintTo(const Result<HTTPResponse, NSError>& answer, std::ostream* out) {
  if (answer.isSuccess())
    *out << "status " << answer.value().status << ", " << answer.value().body.size() << " bytes";
  else
    *out << answer.error().code() << ": " << answer.error().localizedDescription();
}

}  // namespace corvane

namespace corvane::test {

using Answer = Result<HTTPResponse, NSError>;

/// Waits for one answer. Give `handler()` to one request.
class AwaitedAnswer {
 public:
  HTTPHandler handler() {
    return [shared = shared_](Answer answer) {
      const std::lock_guard lock(shared->mutex);
      shared->answer.emplace(std::move(answer));
      shared->changed.notify_all();
    };
  }

  /// Fails the test when none has come for a long time.
  Answer wait() {
    std::unique_lock lock(shared_->mutex);
    if (!shared_->changed.wait_for(lock, std::chrono::seconds(60),
                                   [this] { return shared_->answer.has_value(); })) {
      ADD_FAILURE() << "no answer came";
      return Answer::failure(NSError("no answer", 0));
    }
    return *std::move(shared_->answer);
  }

 private:
  struct Shared {
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<Answer> answer;
  };
  std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

inline HTTPRequest makeRequest(std::string method, std::string url, std::string_view body = {}) {
  HTTPRequest request;
  request.method = std::move(method);
  request.url = std::move(url);
  request.body = dataFromText(body);
  if (!body.empty()) request.headers.emplace_back("Content-Type", "application/json");
  return request;
}

/// A network of its own, with one client.
struct HTTPFixture {
  explicit HTTPFixture(HTTPLimits limits = {}, std::string extraCAFile = {},
                       SystemAuthorities system = SystemAuthorities::known())
      : network({limits, std::move(extraCAFile), "Corvane/test (gzip)", pool, std::move(system)}),
        client(network.makeClient()) {}

  Answer perform(HTTPRequest request) { return perform(*client, std::move(request)); }
  static Answer perform(HTTPClient& client, HTTPRequest request) {
    AwaitedAnswer answer;
    const auto ticket = client.send(std::move(request), answer.handler());
    return answer.wait();
  }
  Answer get(std::string url) { return perform(makeRequest("GET", std::move(url))); }

  std::shared_ptr<PoolQueue> pool = std::make_shared<PoolQueue>();
  CurlNetwork network;
  std::shared_ptr<HTTPClient> client;
};

MATCHER_P(IsURLError, code, "is a failure with code " + std::to_string(code)) {
  if (arg.isSuccess()) {
    *result_listener << "status " << arg.value().status;
    return false;
  }
  *result_listener << arg.error().code() << ": " << arg.error().localizedDescription();
  return arg.error().domain() == NSURLErrorDomain && arg.error().code() == code;
}

MATCHER_P2(IsAnswer, status, body, "is an answer with status " + std::to_string(status) + " and the body") {
  if (!arg.isSuccess()) {
    *result_listener << arg.error().code() << ": " << arg.error().localizedDescription();
    return false;
  }
  *result_listener << "status " << arg.value().status << ", " << arg.value().body.size() << " bytes";
  return arg.value().status == status && textView(arg.value().body) == body;
}

/// A file with that text in the test's temporary folder, gone with this object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& text);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

inline TemporaryFile::TemporaryFile(const std::string& text)
    : path_(testing::TempDir() + "corvane-http-XXXXXX") {
  const int file = ::mkstemp(path_.data());
  if (file < 0 || ::write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    throw std::runtime_error("no temporary file");
  ::close(file);
}

inline TemporaryFile::~TemporaryFile() {
  ::unlink(path_.c_str());
}

}  // namespace corvane::test
