#include "SignInPages.hpp"

#include <string_view>

namespace corvane {

namespace {

struct Content {
  std::string_view status;
  std::string_view title;
  std::string_view text;
};

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
    case SignInPage::declined:
      return {"403 Forbidden", "Not signed in",
              "Access was not granted, so you are not signed in. You can close this page."};
    case SignInPage::accessMissing:
      return {"403 Forbidden", "Not signed in",
              "Access to Google Drive was not granted, so you are not signed in. Start the sign-in again and "
              "tick the "
              "box that allows it."};
    case SignInPage::failed:
      break;
  }
  return {"502 Bad Gateway", "Not signed in",
          "The sign-in could not be completed. The program that you came from says why. You can close this "
          "page."};
}

constexpr std::string_view commonHeaders =
    "Cache-Control: no-store\r\n"
    "Content-Security-Policy: default-src 'none'; base-uri 'none'; form-action 'none'; frame-ancestors "
    "'none'\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "Connection: close\r\n";

}  // namespace

std::string pageReply(SignInPage page) {
  const auto content = contentOf(page);
  std::string body = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>";
  body.append(content.title).append("</title></head>\n<body><h1>").append(content.title);
  body.append("</h1><p>").append(content.text).append("</p></body></html>\n");

  std::string reply = "HTTP/1.1 ";
  reply.append(content.status).append("\r\n").append(commonHeaders);
  if (page == SignInPage::methodNotAllowed) reply += "Allow: GET\r\n";
  reply +=
      "Content-Type: text/html; charset=utf-8\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n";
  return reply + body;
}

std::string redirectReply(const URL& location) {
  std::string reply = "HTTP/1.1 302 Found\r\nLocation: " + location.absoluteString() + "\r\n";
  return reply.append(commonHeaders).append("Content-Length: 0\r\n\r\n");
}

}  // namespace corvane
