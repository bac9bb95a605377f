#include "TokenResponse.hpp"

#include "SecretObject.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace corvane {

namespace {

constexpr std::chrono::seconds usualLifetime{3600};
constexpr std::chrono::seconds longestLifetime{24 * 3600};

std::chrono::seconds clampedLifetime(double seconds) {
  if (std::isnan(seconds)) return usualLifetime;
  const auto longest = static_cast<double>(longestLifetime.count());
  return std::chrono::seconds{static_cast<std::int64_t>(std::clamp(seconds, 0.0, longest))};
}

// Some servers send the number as text.
std::chrono::seconds readLifetime(const SecretObject& object) {
  if (const auto* number = findMember<SecretNumber>(object, "expires_in"))
    return clampedLifetime(number->value);
  const auto* text = findMember<SecretString>(object, "expires_in");
  if (!text) return usualLifetime;
  double seconds = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), seconds);
  return error == std::errc{} && end == text->data() + text->size() ? clampedLifetime(seconds)
                                                                    : usualLifetime;
}

// Token types are compared without regard to case (RFC 6749 section 5.1).
bool isBearer(std::string_view type) {
  constexpr std::string_view bearer = "bearer";
  return std::equal(type.begin(), type.end(), bearer.begin(), bearer.end(), [](char left, char right) {
    return (left >= 'A' && left <= 'Z' ? static_cast<char>(left - 'A' + 'a') : left) == right;
  });
}

// What may stand in an Authorization header (RFC 6750 section 2.1 is narrower; Google's tokens keep to it).
bool isHeaderSafe(const Secret& token) {
  const auto text = token.reveal();
  return std::all_of(text.begin(), text.end(), [](char c) { return c > 0x20 && c < 0x7F; });
}

}  // namespace

Result<TokenResponse, std::string> parseTokenResponse(const Data& body) {
  using Parsed = Result<TokenResponse, std::string>;
  const auto object = parseSecretObject(textView(body));
  if (!object) return Parsed::failure("it is not a JSON object");
  auto accessToken = secretMember(*object, "access_token");
  if (!accessToken || accessToken->empty()) return Parsed::failure("it has no access_token");
  if (!isHeaderSafe(*accessToken))
    return Parsed::failure("its access_token has characters that no token has");
  const auto type = textMember(*object, "token_type");
  if (!type || !isBearer(*type)) return Parsed::failure("its token_type is not Bearer");

  TokenResponse response{*std::move(accessToken), readLifetime(*object),
                         secretMember(*object, "refresh_token").value_or(Secret()),
                         secretMember(*object, "id_token").value_or(Secret()), std::nullopt};
  if (const auto scope = textMember(*object, "scope")) response.scopes = splitScopes(*scope);
  return Parsed::success(std::move(response));
}

std::vector<std::string> splitScopes(std::string_view text) {
  std::vector<std::string> scopes;
  while (!text.empty()) {
    const auto word = text.substr(0, text.find(' '));
    if (!word.empty()) scopes.emplace_back(word);
    text.remove_prefix(std::min(text.size(), word.size() + 1));
  }
  return scopes;
}

}  // namespace corvane
