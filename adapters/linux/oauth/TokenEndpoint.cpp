#include "TokenEndpoint.hpp"

#include "FormEncoding.hpp"
#include "OAuthErrors.hpp"
#include "PoolPost.hpp"
#include "SecretObject.hpp"
#include "SecretRuns.hpp"
#include "URLErrors.hpp"
#include "URLHost.hpp"

#include <algorithm>
#include <atomic>
#include <exception>
#include <new>
#include <optional>
#include <utility>

namespace corvane {

namespace {

using Answer = Result<TokenResponse, NSError>;

// Some servers quote what they were sent, and a refusal's words end up in logs.
std::string withoutSecret(std::string_view text, const Secret& secret) {
  std::string clean;
  while (!text.empty()) {
    const auto run = secretRun(text, secret.reveal());
    clean += run > 0 ? std::string_view("...") : text.substr(0, 1);
    text.remove_prefix(std::max<std::size_t>(run, 1));
  }
  return clean;
}

std::string withoutSecrets(std::string text, const std::optional<FormParameters>& sent) {
  // Far more than is shown of it, and little enough to be searched.
  constexpr std::size_t longestText = 4096;
  if (text.size() > longestText) text.resize(longestText);
  for (const auto* name : {"code", "code_verifier", "refresh_token", "client_secret"})
    if (const auto* secret = sent ? findParameter(*sent, name) : nullptr)
      text = withoutSecret(text, *secret);
  return text;
}

/// What the server's words mean to the user, who refreshes a session or finishes a sign-in.
/// The names are those of RFC 6749 section 5.2, and Google's "deleted_client".
std::string meaning(std::string_view host, std::string_view error, bool isRefresh) {
  const std::string server(host);
  if (error == "invalid_grant")
    return server +
           " no longer accepts this sign-in: it has expired or was revoked (invalid_grant). Sign "
           "in again.";
  const bool isClientRefused =
      error == "invalid_client" || error == "unauthorized_client" || error == "deleted_client";
  if (isClientRefused && isRefresh)
    return server + " no longer accepts the client that this sign-in was made with (" +
           std::string(error) + "). Sign in again, so that the program's present client is used.";
  if (isClientRefused)
    return server + " refused the program's client (" + std::string(error) +
           "). Check the client ID and secret that the program was given.";
  return {};
}

NSError refusal(const std::string& host, int status, const SecretObject* object, const Data& form) {
  auto error = object ? textMember(*object, "error") : std::nullopt;
  if (!error)
    return describedError(oauthTokenErrorDomain, oauthOtherErrorCode,
                          host + " refused to give a token (HTTP " + std::to_string(status) + ").");
  const auto sent = parseForm(textView(form));
  if (oauthErrorCode(*error) == oauthOtherErrorCode)
    error = withoutSecrets(*std::move(error), sent);
  const auto description =
      withoutSecrets(textMember(*object, "error_description").value_or(""), sent);

  const auto* grant = sent ? findParameter(*sent, "grant_type") : nullptr;
  auto text = meaning(host, *error, grant && grant->reveal() == "refresh_token");
  if (text.empty()) {
    text = host + " refused to give a token: " + oneLine(*error);
    if (!description.empty()) text += " (" + oneLine(description) + ")";
    text += ". Signing in again may help.";
  }
  return oauthResponseError(oauthTokenErrorDomain, *error, description, std::move(text));
}

// A server that is busy says nothing about the grant: 429 (RFC 6585 section 4), 408 (RFC 9110 section 15.5.9).
bool isRefusal(int status) {
  return status >= 400 && status < 500 && status != 408 && status != 429;
}

// Nor does one that says so in words (RFC 6749 section 4.1.2.1), which some send with 400.
bool saysBusy(const SecretObject& object) {
  const auto error = textMember(object, "error");
  return error == "temporarily_unavailable" || error == "server_error";
}

NSError busy(const std::string& host, int status) {
  return urlError::make(urlError::badServerResponse, host + " could not give a token just now",
                        "HTTP " + std::to_string(status), "Try again later.");
}

Answer judge(const std::string& host, const Data& form, Result<HTTPResponse, NSError> result) {
  if (!result) return Answer::failure(std::move(result).error());
  const HTTPResponse& response = result.value();
  if (isRefusal(response.status)) {
    const auto object = parseSecretObject(textView(response.body));
    if (object && saysBusy(*object)) return Answer::failure(busy(host, response.status));
    return Answer::failure(refusal(host, response.status, object ? &*object : nullptr, form));
  }
  if (response.status < 200 || response.status >= 300)
    return Answer::failure(busy(host, response.status));
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
