#include "CurlClient.hpp"

#include "CurlCore.hpp"

namespace corvane {

CurlClient::~CurlClient() {
  state_->closed = true;
  cancelAll();
}

std::shared_ptr<Cancellable> CurlClient::send(HTTPRequest request, HTTPHandler handler) {
  auto exchange =
      std::make_shared<Exchange>(std::move(request), core_->limits().body, state_, core_->driver());
  state_->add(exchange, std::move(handler));
  try {
    core_->submit(exchange);
  } catch (...) {
    state_->take(*exchange);
    throw;
  }
  return exchange;
}

void CurlClient::cancelAll() {
  const auto cancelled = state_->takeAll();
  for (const auto& [key, entry] : cancelled) entry.exchange->markCancelled();
  core_->driver()->poke();
}

void CurlClient::resetSession() {
  ++state_->generation;
  core_->driver()->poke();
}

}  // namespace corvane
