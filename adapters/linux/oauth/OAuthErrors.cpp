#include "OAuthErrors.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace corvane {

std::int64_t oauthErrorCode(std::string_view error) {
  static constexpr std::array<std::string_view, 10> names{
      "invalid_request", "unauthorized_client",   "access_denied",           "unsupported_response_type",
      "invalid_scope",   "server_error",          "temporarily_unavailable", "invalid_client",
      "invalid_grant",   "unsupported_grant_type"};
  const auto found = std::find(names.begin(), names.end(), error);
  return found == names.end() ? oauthOtherErrorCode : -2 - (found - names.begin());
}

NSError describedError(std::string_view domain, std::int64_t code, std::string description) {
  UserInfo userInfo;  // not as a braced list: g++ 12 destroys its parts twice when memory runs out halfway
  userInfo.emplace(NSLocalizedDescriptionKey, std::move(description));
  return NSError(domain, code, std::move(userInfo));
}

NSError oauthResponseError(std::string_view domain, std::string_view error, std::string_view errorDescription,
                           std::string description) {
  UserInfo response;
  response.emplace("error", oneLine(error));
  if (!errorDescription.empty()) response.emplace("error_description", oneLine(errorDescription));
  UserInfo userInfo;
  userInfo.emplace(oauthErrorResponseKey, std::move(response));
  userInfo.emplace(NSLocalizedDescriptionKey, std::move(description));
  return NSError(domain, oauthErrorCode(error), std::move(userInfo));
}

NSError tokenMemoryError() {
  return describedError("NSPOSIXErrorDomain", ENOMEM,
                        "There is not enough memory to ask for an access token.");
}

std::string oneLine(std::string_view text) {
  constexpr std::size_t limit = 200;
  std::string line(text.substr(0, limit));
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '?');
  return line;
}

}  // namespace corvane
