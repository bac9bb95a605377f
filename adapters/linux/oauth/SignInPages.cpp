#include "SignInPages.hpp"

#include <string_view>

namespace corvane {

namespace {

struct Content {
  std::string_view status;
  std::string_view title;
  std::string_view text;
};

constexpr std::string_view notSignedIn = "Google Drive: not signed in";

Content contentOf(SignInPage page) {
  switch (page) {
    case SignInPage::badRequest:
      return {"400 Bad Request", "Not a sign-in",
              "This request does not belong to the sign-in under way. The sign-in goes on waiting."};
    case SignInPage::notFound:
      return {"404 Not Found", "Nothing here", "There is nothing at this address."};
    case SignInPage::methodNotAllowed:
      return {"405 Method Not Allowed", "Nothing here", "Only GET is answered here."};
    case SignInPage::tooLong:
      return {"431 Request Header Fields Too Large", "Request too long", "This request is too long."};
    case SignInPage::ahead:
      return {"503 Service Unavailable", "Google Drive sign-in",
              "This address cannot be loaded ahead of a visit. Open it to sign in."};
    case SignInPage::stranger:
      return {"403 Forbidden", "Google Drive sign-in",
              "This address is for another user of this computer. Their sign-in goes on waiting."};
    case SignInPage::accessMissing:
      return {"403 Forbidden", notSignedIn,
              "Access to Google Drive was not granted, so you are not signed in. Start the sign-in again and "
              "tick the box that allows it."};
    case SignInPage::otherAccount:
      return {"403 Forbidden", notSignedIn,
              "You chose another account than the one that the program asked for, so you are not signed in. "
              "Start the sign-in again and choose the account that the program names."};
    case SignInPage::openedTwice:
      return {"403 Forbidden", notSignedIn,
              "The sign-in address was opened twice: another program on this machine may have seen it. The "
              "sign-in has been ended, and nothing was stored. Start it again."};
    case SignInPage::dismissed:
      return {"403 Forbidden", notSignedIn,
              "The sign-in was given up in the program that you came from. You can close this page."};
    case SignInPage::failed:
      break;
  }
  return {"502 Bad Gateway", notSignedIn,
          "The sign-in could not be completed. The program that you came from says why. You can close this "
          "page."};
}

constexpr std::string_view style =
    ":root{color-scheme:light dark;--card:#fff;--back:#eef1f6;--line:#c8ccd4}@media(prefers-c"
    "olor-scheme:dark){:root{--card:#1d2126;--back:#121417;--line:#4a5058}}body{font:1rem/1.5"
    " system-ui,sans-serif;margin:0;padding:3rem 1rem;background:var(--back)}main{max-width:3"
    "0rem;margin:0 auto;padding:.5rem 2rem 1rem;background:var(--card);border:1px solid var(-"
    "-line);border-radius:1rem}h1{font-size:1.6rem;font-weight:500}";

// The policy names the style by its SHA-256 (Content Security Policy Level 2, 7.2): no other may apply.
constexpr std::string_view commonHeaders =
    "Cache-Control: no-store\r\n"
    "Content-Security-Policy: default-src 'none'; style-src "
    "'sha256-5175xZun8FM0NemUgTCy+Y3B0VSgq+1kMvQvFuEbFsM='; base-uri 'none'; form-action 'none'; "
    "frame-ancestors "
    "'none'\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "Connection: close\r\n";

std::string reply(std::string_view status, std::string_view headers, std::string_view title,
                  std::string_view text) {
  std::string body = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">";
  body += "<meta name=\"viewport\" content=\"width=device-width\"><style>";
  body.append(style).append("</style><title>").append(title);
  body.append("</title></head>\n<body><main><h1>").append(title);
  body.append("</h1><p>").append(text).append("</p></main></body></html>\n");

  std::string reply = "HTTP/1.1 ";
  reply.append(status).append("\r\n").append(commonHeaders).append(headers);
  reply +=
      "Content-Type: text/html; charset=utf-8\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n";
  return reply + body;
}

}  // namespace

std::string pageReply(SignInPage page) {
  const auto content = contentOf(page);
  const bool saysMethods = page == SignInPage::methodNotAllowed;
  return reply(content.status, saysMethods ? "Allow: GET\r\n" : "", content.title, content.text);
}

std::string pageReply(const SignInRefusal& refusal) {
  std::string text(refusal.sentence);
  text.append(", so you are not signed in. ").append(refusal.advice);
  return reply(refusal.isTemporary ? "503 Service Unavailable" : "403 Forbidden", {}, notSignedIn, text);
}

std::string redirectReply(std::string_view location, std::string_view cookie) {
  std::string reply = "HTTP/1.1 302 Found\r\nLocation: ";
  return reply.append(location)
      .append("\r\n")
      .append(cookie)
      .append(commonHeaders)
      .append("Content-Length: 0\r\n\r\n");
}

}  // namespace corvane
