#include "DriveRequest.hpp"

#include "DriveAnswer.hpp"
#include "DriveErrors.hpp"

#include <exception>
#include <new>
#include <utility>

namespace corvane {

/// What the handler will be told.
struct DriveRequest::Outcome {
  GTLRObject object;
  std::optional<NSError> error;
};

/// The handler that a session gets. A session of the host's may drop it uncalled: that ends the
/// request too. A cancelled request is over by then, and stays silent.
class DriveRequest::TokenReply {
 public:
  TokenReply(std::weak_ptr<DriveRequest> request, Attempt attempt)
      : request_(std::move(request)), attempt_(attempt) {}
  TokenReply(TokenReply&&) noexcept = default;  // leaves no request behind
  TokenReply& operator=(TokenReply&&) = delete;
  ~TokenReply() {
    if (const auto request = request_.lock()) request->failLater(dropped_);
  }

  void operator()(Result<Secret, NSError> token) {
    if (const auto request = std::exchange(request_, {}).lock())
      request->tokenArrived(attempt_, std::move(token));
  }

 private:
  std::weak_ptr<DriveRequest> request_;
  Attempt attempt_;
  NSError dropped_ = droppedTokenError();  // had while there is memory to make it
};

DriveRequest::DriveRequest(Environment environment, std::shared_ptr<AuthSession> session,
                           Result<DriveCall, NSError> call, GTLRDriveService::CompletionHandler handler)
    : environment_(std::move(environment)),
      session_(std::move(session)),
      call_(std::move(call)),
      handler_(std::move(handler)),
      outOfMemory_(outOfMemoryError()) {}

void DriveRequest::start() {
  if (!call_) return failLater(call_.error());
  if (!session_) return failLater(missingAuthorizerError());
  requestToken(Attempt::first, std::nullopt);
}

void DriveRequest::requestToken(Attempt attempt, std::optional<Secret> rejected) {
  const auto phase = beginPhase();
  auto waiting = session_->accessToken(std::move(rejected), TokenReply(weak_from_this(), attempt));
  phase->set(waiting.release());
}

void DriveRequest::tokenArrived(Attempt attempt, Result<Secret, NSError> token) {
  if (!token) return failLater(std::move(token).error());
  try {
    sendOrFail(attempt, std::move(token).value());
  } catch (const std::bad_alloc&) {
    finishWithoutMemory();
  }
}

void DriveRequest::sendOrFail(Attempt attempt, Secret token) {
  try {
    send(attempt, std::move(token));
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {  // no thread to be had
    failLater(unableToSendError(environment_.host, error.what()));
  }
}

void DriveRequest::send(Attempt attempt, Secret token) {
  const auto client = environment_.client.lock();
  if (!client || ended_.load(std::memory_order_acquire)) return;

  const auto& call = call_.value();
  HTTPRequest request;
  request.method = call.method;
  request.url = call.url;
  if (!call.body.empty()) request.headers.emplace_back("Content-Type", "application/json");
  request.bearer = token;
  request.body = call.body;

  const auto phase = beginPhase();
  phase->set(client->send(std::move(request), [weak = weak_from_this(), attempt, token = std::move(token)](
                                                  Result<HTTPResponse, NSError> result) {
    if (const auto self = weak.lock()) self->responseArrived(attempt, token, std::move(result));
  }));
}

void DriveRequest::responseArrived(Attempt attempt, const Secret& token,
                                   Result<HTTPResponse, NSError> result) {
  if (ended_.load(std::memory_order_acquire)) return;  // spares the parsing
  std::optional<Outcome> outcome;
  try {
    outcome = read(attempt, token, std::move(result));
  } catch (const std::bad_alloc&) {
    return finishWithoutMemory();
  }
  if (outcome) finish(*std::move(outcome));
}

/// What the answer comes to, or nothing when the request goes on with a fresh token.
std::optional<DriveRequest::Outcome> DriveRequest::read(Attempt attempt, const Secret& token,
                                                        Result<HTTPResponse, NSError> result) {
  if (!result) return Outcome{{}, std::move(result).error()};
  const auto& response = result.value();

  // A request that was answered 401 has not been carried out, so that even a deletion may be repeated; but
  // only once, since a second fresh token would fare no better.
  if (response.status == 401 && attempt == Attempt::first) {
    requestToken(Attempt::second, token);
    return std::nullopt;
  }
  auto answer = readDriveAnswer(response, call_.value().answer, *environment_.parser, environment_.host,
                                token.reveal());
  if (!answer) return Outcome{{}, std::move(answer).error()};
  return Outcome{std::move(answer).value(), std::nullopt};
}

std::shared_ptr<CancellableSlot> DriveRequest::beginPhase() {
  auto phase = std::make_shared<CancellableSlot>();
  current_.set(phase);
  return phase;
}

/// Failures that may be found inside executeQuery reach the handler by way of the queue, unless it cannot take them.
void DriveRequest::failLater(NSError error) {
  try {
    environment_.queue->async([weak = weak_from_this(), error]() mutable {
      if (const auto self = weak.lock()) self->finish({{}, std::move(error)});
    });
  } catch (const std::exception&) {
    finish({{}, std::move(error)});
  }
}

void DriveRequest::finish(Outcome outcome) {
  const auto handler = end();
  if (!handler) return;
  current_.close();
  (*handler)(shared_from_this(), std::move(outcome.object), std::move(outcome.error));
}

// Whoever ends the request owns the error too: the step that failed may have been overtaken by the next one.
void DriveRequest::finishWithoutMemory() {
  const auto handler = end();
  if (!handler) return;
  current_.cancel();
  (*handler)(shared_from_this(), {}, outOfMemory_);
}

void DriveRequest::cancelTicket() {
  const auto self = shared_from_this();  // the handler may hold the last reference to this ticket
  const auto released = end();
  if (released) current_.cancel();
}

std::optional<GTLRDriveService::CompletionHandler> DriveRequest::end() noexcept {
  if (ended_.exchange(true, std::memory_order_acq_rel)) return std::nullopt;
  if (const auto running = environment_.running.lock()) running->remove(*this);
  return std::move(handler_);
}

}  // namespace corvane
