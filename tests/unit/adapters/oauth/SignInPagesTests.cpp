#include "oauth/SignInPages.hpp"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace corvane::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

std::vector<std::string> everyPage() {
  std::vector<std::string> replies;
  for (const auto page :
       {SignInPage::badRequest, SignInPage::notFound, SignInPage::methodNotAllowed, SignInPage::tooLong,
        SignInPage::ahead, SignInPage::stranger, SignInPage::accessMissing, SignInPage::otherAccount,
        SignInPage::openedTwice, SignInPage::dismissed, SignInPage::failed})
    replies.push_back(pageReply(page));
  for (const auto* error : {"access_denied", "server_error", "org_internal", "never_heard_of"})
    replies.push_back(pageReply(refusalNamed(error)));
  return replies;
}

TEST(SignInPages, EveryPageForbidsStoringAndRunningAndSaysItsLength) {
  for (const auto& reply : everyPage()) {
    EXPECT_THAT(reply, HasSubstr("Cache-Control: no-store\r\n"));
    EXPECT_THAT(reply, HasSubstr("Content-Security-Policy: default-src 'none'"));
    EXPECT_THAT(reply, HasSubstr("Referrer-Policy: no-referrer\r\n"));
    EXPECT_THAT(reply, HasSubstr("X-Content-Type-Options: nosniff\r\n"));
    const auto body = reply.substr(reply.find("\r\n\r\n") + 4);
    EXPECT_THAT(reply, HasSubstr("Content-Length: " + std::to_string(body.size()) + "\r\n"));
  }
}

TEST(SignInPages, AFailedSignInNamesGoogleDriveInItsTitle) {
  for (const auto& reply : everyPage()) {
    const bool isStray = reply.starts_with("HTTP/1.1 4") && !reply.starts_with("HTTP/1.1 403");
    EXPECT_EQ(reply.find("<title>Google Drive") == std::string::npos, isStray) << reply;
  }
}

TEST(SignInPages, TextsHoldNoMarkupOfTheirOwn) {
  for (const auto& reply : everyPage()) {
    const auto begin = reply.find("<p>") + 3;
    const auto text = reply.substr(begin, reply.find("</p>") - begin);
    EXPECT_EQ(text.find_first_of("<>&"), std::string::npos) << text;
    EXPECT_THAT(text, Not(HasSubstr("  ")));
    EXPECT_THAT(text, ::testing::EndsWith("."));
  }
}

TEST(SignInPages, ARefusalOfTheMomentIsNoRefusalForGood) {
  EXPECT_THAT(pageReply(refusalNamed("server_error")), StartsWith("HTTP/1.1 503 "));
  EXPECT_THAT(pageReply(refusalNamed("org_internal")), StartsWith("HTTP/1.1 403 "));
}

TEST(SignInPages, SuccessSendsTheBrowserOn) {
  const auto reply = redirectReply("https://drive.google.com/");
  EXPECT_THAT(reply, StartsWith("HTTP/1.1 302 Found\r\nLocation: https://drive.google.com/\r\n"));
  EXPECT_THAT(reply, HasSubstr("Cache-Control: no-store\r\n"));
  EXPECT_THAT(reply, HasSubstr("Referrer-Policy: no-referrer\r\n"));
}

}  // namespace
}  // namespace corvane::test
