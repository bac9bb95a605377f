#pragma once

#include "HTTPClient.hpp"

#include <cerrno>
#include <memory>
#include <system_error>

namespace corvane::test {

/// A client that cannot take a request, as when no thread can be started for it.
struct UnableHTTPClient final : HTTPClient {
  std::shared_ptr<Cancellable> send(HTTPRequest, HTTPHandler) override {
    throw std::system_error(EAGAIN, std::generic_category());
  }
  void cancelAll() override {}
  void resetSession() override {}
};

}  // namespace corvane::test
