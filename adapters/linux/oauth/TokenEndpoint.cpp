#include "TokenEndpoint.hpp"

#include "FormEncoding.hpp"
#include "OAuthErrors.hpp"
#include "PoolPost.hpp"
#include "SecretObject.hpp"
#include "URLErrors.hpp"
#include "URLHost.hpp"

#include <atomic>
#include <exception>
#include <new>
#include <optional>
#include <utility>

namespace corvane {

namespace {

using Answer = Result<TokenResponse, NSError>;

NSError invalidGrant(std::string_view host, std::string_view errorDescription) {
  return oauthResponseError(oauthTokenErrorDomain, "invalid_grant", errorDescription,
                            std::string(host) +
                                " no longer accepts this sign-in: it has expired or was revoked "
                                "(invalid_grant). Sign in again.");
}

// Some servers quote what they were sent, and a refusal's words end up in logs.
std::string withoutSecrets(std::string text, const Data& form) {
  const auto sent = parseForm(textView(form));
  for (const auto* name : {"code", "code_verifier", "refresh_token", "client_secret"}) {
    const auto* secret = sent ? findParameter(*sent, name) : nullptr;
    if (!secret || secret->empty()) continue;
    for (auto at = text.find(secret->reveal()); at != std::string::npos;
         at = text.find(secret->reveal(), at + 3))
      text.replace(at, secret->reveal().size(), "...");
  }
  return text;
}

NSError refusal(const std::string& host, int status, const Data& body, const Data& form) {
  const auto object = parseSecretObject(textView(body));
  auto error = object ? textMember(*object, "error") : std::nullopt;
  if (!error)
    return describedError(oauthTokenErrorDomain, oauthOtherErrorCode,
                          host + " refused to give a token (HTTP " + std::to_string(status) + ").");
  if (oauthErrorCode(*error) == oauthOtherErrorCode) error = withoutSecrets(*std::move(error), form);
  const auto description = withoutSecrets(textMember(*object, "error_description").value_or(""), form);
  if (*error == "invalid_grant") return invalidGrant(host, description);
  std::string text = host + " refused to give a token: " + oneLine(*error);
  if (!description.empty()) text += " (" + oneLine(description) + ")";
  text += *error == "invalid_client" ? ". Check the client ID and secret that the program was given."
                                     : ". Signing in again may help.";
  return oauthResponseError(oauthTokenErrorDomain, *error, description, std::move(text));
}

// A server that is busy says nothing about the grant: 429 (RFC 6585 section 4), 408 (RFC 9110 section 15.5.9).
bool isRefusal(int status) {
  return status >= 400 && status < 500 && status != 408 && status != 429;
}

Answer judge(const std::string& host, const Data& form, Result<HTTPResponse, NSError> result) {
  if (!result) return Answer::failure(std::move(result).error());
  const HTTPResponse& response = result.value();
  if (isRefusal(response.status)) return Answer::failure(refusal(host, response.status, response.body, form));
  if (response.status < 200 || response.status >= 300)
    return Answer::failure(urlError::make(urlError::badServerResponse,
                                          host + " could not give a token just now",
                                          "HTTP " + std::to_string(response.status), "Try again later."));
  auto tokens = parseTokenResponse(response.body);
  if (!tokens)
    return Answer::failure(urlError::make(urlError::cannotParseResponse,
                                          "The token answer of " + host + " cannot be used", tokens.error(),
                                          "A network's sign-in page may be in the way."));
  return Answer::success(std::move(tokens).value());
}

// Sees to it that whoever waits gets one answer, even when the HTTP client is stopped under the request or memory
// runs out: all that it takes to tell a failure is made before the request leaves.
class Reply {
 public:
  Reply(TokenEndpoint::Handler handler, std::shared_ptr<Queue> pool,
        std::shared_ptr<std::atomic<bool>> cancelled)
      : failure_(std::make_shared<Failure>()),
        tellFailure_(std::make_shared<Block>([failure = failure_] { failure->tell(); })),
        pool_(std::move(pool)),
        cancelled_(std::move(cancelled)) {
    failure_->handler = std::move(handler);
  }
  Reply(const Reply&) = delete;
  Reply& operator=(const Reply&) = delete;
  ~Reply() {
    fail(std::move(dropped_));
  }

  void answer(const std::string& host, const Data& form, Result<HTTPResponse, NSError> result) {
    tellFailure_ = nullptr;
    const auto handler = std::move(failure_->handler);
    handler(judged(host, form, std::move(result)));
  }

  void fail(NSError error) noexcept {
    const auto tell = std::exchange(tellFailure_, nullptr);
    if (!tell || *cancelled_) return;
    failure_->error = std::move(error);
    postOrRun(*pool_, tell);
  }
  void failWithoutMemory() noexcept { fail(std::move(outOfMemory_)); }

 private:
  struct Failure {
    TokenEndpoint::Handler handler;
    std::optional<NSError> error;
    void tell() { std::exchange(handler, nullptr)(Answer::failure(*std::move(error))); }
  };

  Answer judged(const std::string& host, const Data& form, Result<HTTPResponse, NSError> result) {
    try {
      return judge(host, form, std::move(result));
    } catch (const std::bad_alloc&) {
      return Answer::failure(std::move(outOfMemory_));
    }
  }

  NSError dropped_ = urlError::make(urlError::cancelled, "The request for a token was cancelled");
  NSError outOfMemory_ = tokenMemoryError();
  std::shared_ptr<Failure> failure_;
  std::shared_ptr<Block> tellFailure_;  // null once somebody has been told
  std::shared_ptr<Queue> pool_;
  std::shared_ptr<std::atomic<bool>> cancelled_;
};

class Request final : public Cancellable {
 public:
  explicit Request(std::shared_ptr<std::atomic<bool>> cancelled) : cancelled_(std::move(cancelled)) {}
  void setRunning(std::shared_ptr<Cancellable> request) noexcept { request_ = std::move(request); }
  void cancel() noexcept override {
    *cancelled_ = true;
    if (request_) request_->cancel();
  }

 private:
  std::shared_ptr<std::atomic<bool>> cancelled_;
  std::shared_ptr<Cancellable> request_;
};

}  // namespace

TokenEndpoint::TokenEndpoint(std::shared_ptr<HTTPClient> http, std::shared_ptr<Queue> pool, std::string url)
    : http_(std::move(http)), pool_(std::move(pool)), url_(std::move(url)) {}

std::shared_ptr<Cancellable> TokenEndpoint::send(Data form, Handler handler) const {
  HTTPRequest request;
  request.method = "POST";
  request.url = url_;
  request.headers = {{"Content-Type", "application/x-www-form-urlencoded"}, {"Accept", "application/json"}};
  request.body = form;
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  const auto host = hostOf(url_);
  auto running = std::make_shared<Request>(cancelled);
  const auto reply = std::make_shared<Reply>(std::move(handler), pool_, std::move(cancelled));
  try {
    running->setRunning(http_->send(std::move(request), [host, form = std::move(form), reply](auto result) {
      reply->answer(host, form, std::move(result));
    }));
  } catch (const std::bad_alloc&) {
    reply->failWithoutMemory();
  } catch (const std::exception& error) {  // no thread to be had
    reply->fail(urlError::make(urlError::cannotConnectToHost, "Could not ask " + host + " for a token",
                               error.what(), "Try again later."));
  }
  return running;
}

}  // namespace corvane
