#include "CurlNetwork.hpp"

#include "CurlClient.hpp"
#include "NetworkThread.hpp"

namespace corvane {

CurlNetwork::CurlNetwork(Options options)
    : thread_(std::make_shared<NetworkThread>(std::move(options))) {}

std::shared_ptr<HTTPClient> CurlNetwork::makeClient() {
  return std::make_shared<CurlClient>(thread_);
}

}  // namespace corvane
