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
:root { color-scheme: light dark; --card: #fff; --back: #eef1f6; --line: #c8ccd4; --accent: #0b57d0;
        --on-accent: #fff; }
@media (prefers-color-scheme: dark) {
  :root { --card: #1d2126; --back: #121417; --line: #4a5058; --accent: #a8c7fa; --on-accent: #062e6f; }
}
* { box-sizing: border-box; }
body { font: 1rem/1.5 system-ui, sans-serif; margin: 0; padding: 3rem 1rem; background: var(--back); }
main { max-width: 32rem; margin: 0 auto; padding: 1rem 2rem 1.5rem; border-radius: 1rem; background: var(--card);
       border: 1px solid var(--line); }
h1 { font-size: 1.6rem; font-weight: 500; margin: .5rem 0; }
fieldset { border: 1px solid var(--line); border-radius: .5rem; margin: 1rem 0; padding: .25rem 1rem .5rem; }
fieldset label, fieldset p { display: block; margin: 0; padding: .35rem 0; }
input { accent-color: var(--accent); margin: 0 .5rem 0 0; }
.decision { display: flex; justify-content: flex-end; gap: .75rem; margin: 1.25rem 0 0; }
button { font: inherit; padding: .5rem 1.5rem; border-radius: 2rem; border: 1px solid var(--line);
         background: transparent; color: inherit; cursor: pointer; }
button#allow { background: var(--accent); border-color: var(--accent); color: var(--on-accent); }
:focus-visible { outline: 3px solid var(--accent); outline-offset: 2px; }
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

std::string meaningOf(const std::string& scope) {
  if (scope == "openid") return "Know who you are on Google";
  if (scope == "https://www.googleapis.com/auth/userinfo.email") return "See your e-mail address";
  return escaped(scope);
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
  content += "</fieldset>\n<fieldset>\n<legend>It asks for</legend>\n";
  bool drive = false;
  for (const auto& scope : scopes) {
    if (isDriveScope(scope))
      drive = true;
    else
      content += "<p>" + std::string(meaningOf(scope)) + "</p>\n";
  }
  if (drive)
    content +=
        "<label for=\"drive\"><input type=\"checkbox\" name=\"drive\" id=\"drive\" value=\"granted\" "
        "checked> "
        "See, edit and delete your Google Drive files</label>\n";
  content += R"(</fieldset>
<p class="decision"><button type="submit" id="deny" name="decision" value="deny">Deny</button>
<button type="submit" id="allow" name="decision" value="allow">Allow</button></p>
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
