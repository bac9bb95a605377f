#include "CurlClient.hpp"

#include "NetworkThread.hpp"

namespace corvane {

CurlClient::~CurlClient() {
  state_->closed = true;
  cancelAll();
}

std::shared_ptr<Cancellable> CurlClient::send(HTTPRequest request, HTTPHandler handler) {
  thread_->queue()->process().require();
  auto exchange = std::make_shared<Exchange>(std::move(request), thread_->limits().body, state_,
                                             thread_->queue());
  state_->add(exchange, std::move(handler));
  try {
    thread_->submit(exchange);
  } catch (...) {
    state_->take(*exchange);
    throw;
  }
  return exchange;
}

void CurlClient::cancelAll() {
  // In a forked process a thread of the parent's may hold the lock for ever.
  if (thread_->queue()->process().isAnother()) return;
  const auto cancelled = state_->takeAll();
  for (const auto& [key, entry] : cancelled) entry.exchange->markCancelled();
  thread_->queue()->requestSweep();
}

void CurlClient::resetSession() {
  ++state_->generation;
  thread_->queue()->requestSweep();
}

}  // namespace corvane
