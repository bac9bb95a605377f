#include "oauth/TokenResponse.hpp"
#include "Input.hpp"

#include <algorithm>

// What the token endpoint answers.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  using namespace std::chrono_literals;
  const auto read = parseTokenResponse(dataFromText(fuzz::inputText(bytes, size)));
  if (!read) {
    fuzz::require(read.error().starts_with("it"), "a refusal says what is wrong");
    return 0;
  }
  const TokenResponse& response = read.value();
  const auto token = response.accessToken.reveal();
  fuzz::require(!token.empty(), "an answer has an access token");
  fuzz::require(std::all_of(token.begin(), token.end(), [](char c) { return c > ' ' && c < 0x7F; }),
                "a token fits into a header");
  fuzz::require(response.lifetime >= 0s && response.lifetime <= 24h, "a lifetime is a day at most");
  if (response.scopes) {
    for (const auto& scope : *response.scopes)
      fuzz::require(!scope.empty() && scope.find(' ') == scope.npos, "a scope is a word");
  }
  return 0;
}
