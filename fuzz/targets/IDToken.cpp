#include "oauth/IDToken.hpp"
#include "Input.hpp"
#include "oauth/Base64URL.hpp"
#include "oauth/OAuthErrors.hpp"

#include <algorithm>
#include <string>

// Id_tokens: the input as a whole token, and as the claims of an otherwise well-formed one.

namespace corvane::fuzz {
namespace {

bool isAccepted(std::string_view token) {
  const IDTokenExpectation expected{"fuzz-client", "https://accounts.google.com", Secret("fuzz-nonce"),
                                    std::chrono::sys_seconds{std::chrono::seconds{1'700'000'000}}};
  const auto read = readIDToken(Secret(token), expected);
  if (!read) {
    require(read.error().domain() == oauthGeneralErrorDomain, "a refusal is the sign-in's own");
    require(
        read.error().code() == oauthIDTokenUnreadableCode || read.error().code() == oauthIDTokenRefusedCode,
        "a refusal says unreadable or not acceptable");
    return false;
  }
  const IDToken& token_ = read.value();
  require(!token_.subject.empty() && token_.subject.size() <= 255, "an account has a subject");
  require(std::none_of(token_.email.begin(), token_.email.end(),
                       [](char c) { return (c >= 0 && c < ' ') || c == 0x7F; }),
          "an address has no control characters");
  return true;
}

}  // namespace
}  // namespace corvane::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  const auto text = fuzz::inputText(bytes, size);
  fuzz::isAccepted(text);

  const Data claims = dataFromText(text);
  const std::string encoded = encodeBase64URL(claims);
  fuzz::require(decodeBase64URL(encoded) == claims, "base64url survives");
  const bool accepted =
      fuzz::isAccepted(encodeBase64URL(dataFromText(R"({"alg":"RS256"})")) + '.' + encoded + ".c2lnbmF0dXJl");
  if (accepted) {
    // Escapes apart, whoever gets in knows all of these. Those that use escapes are judged by the reader alone.
    for (const auto* needed : {"fuzz-nonce", "fuzz-client", "accounts.google.com"})
      fuzz::require(text.find(needed) != text.npos || text.find('\\') != text.npos,
                    "only this sign-in's own token is accepted");
  }
  return 0;
}
