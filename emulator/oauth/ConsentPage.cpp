#include "oauth/ConsentPage.hpp"

#include <algorithm>

#include "oauth/AuthorizationRequest.hpp"

namespace corvane::emulator {
namespace {

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&#39;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string page(std::string_view title, std::string_view content) {
  std::string text = R"(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>)";
  text.append(title)
      .append(R"(</title>
<style>
:root { color-scheme: light dark; }
body { font: 1rem/1.5 system-ui, sans-serif; max-width: 30rem; margin: 3rem auto; padding: 0 1rem; }
fieldset { border: 1px solid GrayText; border-radius: .5rem; margin: 1rem 0; }
fieldset label { display: block; padding: .35rem 0; }
button { font: inherit; padding: .5rem 1rem; margin: 0 .5rem .5rem 0; border-radius: .5rem;
         border: 1px solid GrayText; }
button#allow { background: #0b57d0; border-color: #0b57d0; color: #fff; }
:focus-visible { outline: 3px solid #0b57d0; outline-offset: 2px; }
.note { color: GrayText; }
</style>
</head>
<body>
<main>
)")
      .append(content);
  return text += "</main>\n</body>\n</html>\n";
}

std::string accountChoice(const User& user, std::size_t number, bool chosen) {
  const auto id = "account-" + std::to_string(number);
  return "<label for=\"" + id + "\"><input type=\"radio\" name=\"account\" id=\"" + id + "\" value=\"" +
         escaped(user.email) + "\" required" + (chosen ? " checked" : "") + "> " + escaped(user.displayName) +
         " (" + escaped(user.email) + ")</label>\n";
}

}  // namespace

std::string consentPage(const std::vector<User>& users, std::string_view loginHint, const Scopes& scopes,
                        std::string_view requestID) {
  const auto hinted = std::ranges::find_if(
      users, [&](const User& user) { return user.email == loginHint || user.subject == loginHint; });
  const auto chosen = hinted == users.end() ? users.begin() : hinted;
  std::string content = R"(<h1>Sign in</h1>
<p>An application wants to use your account. <span class="note">This is a local emulator; no real account is
involved.</span></p>
<form method="post" action="/o/oauth2/v2/auth">
<input type="hidden" name="request" value=")";
  content.append(escaped(requestID)).append("\">\n<fieldset>\n<legend>Account</legend>\n");
  for (auto user = users.begin(); user != users.end(); ++user) {
    content += accountChoice(*user, static_cast<std::size_t>(user - users.begin()) + 1, user == chosen);
  }
  content += "</fieldset>\n<p>It asks for:</p>\n<ul>\n";
  for (const auto& scope : scopes) content += "<li>" + escaped(scope) + "</li>\n";
  content += R"(</ul>
<button type="submit" id="allow" name="decision" value="allow">Allow</button>
<button type="submit" id="allow-partial" name="decision" value="allow-partial">Allow without Drive access</button>
<button type="submit" id="deny" name="decision" value="deny">Deny</button>
</form>
)";
  return page("Sign in", content);
}

std::string authorizationErrorPage(const OAuthError& error) {
  return page("Access blocked", "<h1>Access blocked</h1>\n<p>Error " + std::to_string(error.status) +
                                    ": <code id=\"error\">" + escaped(error.error) + "</code></p>\n<p>" +
                                    escaped(error.description) + "</p>\n");
}

}  // namespace corvane::emulator
