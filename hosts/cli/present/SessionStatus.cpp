#include "SessionStatus.hpp"

#include "Escape.hpp"
#include "JSONLines.hpp"
#include "Times.hpp"

namespace corvane::cli {

std::string sessionStatus(const std::string& account, const AuthSession& session, const Style& style) {
  std::string text = style.bold(escapedName(account)) + "\n";
  for (const auto& scope : session.grantedScopes()) text += "  may use       " + escapedName(scope) + "\n";
  if (const auto expiry = session.accessTokenExpiry())
    text += "  access until  " + shortTime(*expiry) + " UTC, renewed when needed\n";
  return text;
}

std::string sessionStatusLine(const std::string& account, const AuthSession& session) {
  return jsonObject([&](KeyedEncodingContainer& object) {
    object.encode(std::string_view(account), CodingKey("userEmail"));
    object.encodeNested(CodingKey("grantedScopes"), [&](Encoder& encoder) {
      const auto scopes = encoder.unkeyedContainer();
      for (const auto& scope : session.grantedScopes()) scopes->encode(scope);
    });
    if (const auto expiry = session.accessTokenExpiry())
      object.encode(*expiry, CodingKey("accessTokenExpiry"));
  });
}

}  // namespace corvane::cli
