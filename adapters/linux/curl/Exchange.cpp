#include "Exchange.hpp"

#include "CurlErrors.hpp"
#include "GzipInflater.hpp"
#include "RequestQueue.hpp"

#include <algorithm>
#include <new>

namespace corvane {
namespace {

using Outcome = Result<HTTPResponse, NSError>;

// Names of encodings are case-insensitive, and x-gzip is gzip (RFC 9110, 8.4.1).
bool isEncoding(std::string_view value, std::string_view name) {
  return std::equal(value.begin(), value.end(), name.begin(), name.end(), [](char a, char b) {
    return a == b || (a >= 'A' && a <= 'Z' && a - 'A' + 'a' == b);
  });
}

bool isGzip(std::string_view encoding) {
  return isEncoding(encoding, "gzip") || isEncoding(encoding, "x-gzip");
}

bool isSuccess(const HTTPResponse& response) {
  return response.status >= 200 && response.status < 300;
}

void dropHeader(HTTPResponse& response, std::string_view name) {
  std::erase_if(response.headers, [&](const auto& header) { return header.first == name; });
}

}  // namespace

Exchange::Exchange(HTTPRequest request, std::size_t bodyLimit, std::shared_ptr<ClientState> client,
                   std::shared_ptr<RequestQueue> queue)
    : request_(std::move(request)),
      bodyLimit_(bodyLimit),
      client_(std::move(client)),
      queue_(std::move(queue)) {}

void Exchange::setTarget(RequestTarget target) {
  outOfMemory_ = outOfMemoryError(target.display);
  target_ = std::move(target);
}

void Exchange::cancel() noexcept {
  if (queue_->process().isAnother()) return;
  const HTTPHandler handler = client_->take(*this);
  if (!handler) return;
  markCancelled();
  queue_->requestSweep();
}

Block Exchange::answering() {
  return [self = shared_from_this()] { self->answer(); };
}

void Exchange::answer() {
  if (isCancelled()) return;
  auto outcome = inflatedOutcome();
  if (const auto handler = client_->take(*this)) handler(std::move(outcome));
}

Result<HTTPResponse, NSError> Exchange::inflatedOutcome() {
  try {
    if (outcome_ && outcome_->isSuccess()) return inflated(std::move(*outcome_).value());
    if (outcome_) return *std::move(outcome_);
  } catch (const std::bad_alloc&) {
  }
  return Outcome::failure(*outOfMemory_);
}

Result<HTTPResponse, NSError> Exchange::inflated(HTTPResponse response) const {
  // A failure counts by its status, such as the 503 that is worth another try, also when its page
  // is damaged.
  const auto unreadable = [&response](NSError error) {
    if (isSuccess(response)) return Outcome::failure(std::move(error));
    response.body.clear();
    return Outcome::success(std::move(response));
  };
  const auto encoding = response.header("content-encoding");
  if (response.body.empty() || encoding.empty() || isEncoding(encoding, "identity"))
    return Outcome::success(std::move(response));
  if (!isGzip(encoding)) return unreadable(unknownEncodingError(target_.display));

  auto plain = inflateGzip(response.body, bodyLimit_);
  if (!plain)
    return plain.error() == InflateFailure::tooLarge
               ? Outcome::failure(bodyTooLargeError(target_.display))
               : unreadable(corruptBodyError(target_.display));
  response.body = std::move(plain).value();
  dropHeader(response, "content-encoding");
  dropHeader(response, "content-length");
  return Outcome::success(std::move(response));
}

}  // namespace corvane
