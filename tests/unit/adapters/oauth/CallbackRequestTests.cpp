#include "oauth/CallbackRequest.hpp"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace corvane::test {
namespace {

const ExpectedCallback expected{"127.0.0.1:4242", "/path", Secret("the-state"),
                                "https://accounts.google.com"};

std::string request(std::string_view target, std::string_view host = "127.0.0.1:4242",
                    std::string_view method = "GET") {
  return std::string(method) + " " + std::string(target) + " HTTP/1.1\r\nHost: " + std::string(host) +
         "\r\nAccept: text/html\r\n\r\n";
}

std::optional<SignInPage> strayPage(const std::string& text) {
  const auto callback = readCallback(text, expected);
  const auto* stray = std::get_if<StrayRequest>(&callback);
  return stray ? std::optional(stray->page) : std::nullopt;
}

TEST(CallbackRequest, OurCallbackGivesItsCode) {
  const auto callback = readCallback(
      request("/path?state=the-state&code=4%2F0Axyz&scope=email%20openid&authuser=0&prompt=consent"),
      expected);
  ASSERT_TRUE(std::holds_alternative<CallbackCode>(callback));
  EXPECT_EQ(std::get<CallbackCode>(callback).code, Secret("4/0Axyz"));
}

TEST(CallbackRequest, ARefusalGivesItsErrorAndDescription) {
  const auto callback =
      readCallback(request("/path?error=access_denied&error_description=No+way&state=the-state"), expected);
  ASSERT_TRUE(std::holds_alternative<CallbackRefusal>(callback));
  EXPECT_EQ(std::get<CallbackRefusal>(callback).error, "access_denied");
  EXPECT_EQ(std::get<CallbackRefusal>(callback).description, "No way");
}

TEST(CallbackRequest, TheRightIssuerIsAcceptedAndAnotherOneIsForeign) {
  EXPECT_TRUE(std::holds_alternative<CallbackCode>(
      readCallback(request("/path?state=the-state&code=c&iss=https%3A%2F%2Faccounts.google.com"), expected)));
  for (const auto* target :
       {"/path?state=the-state&code=c&iss=https%3A%2F%2Fevil.example",
        "/path?state=the-state&code=c&iss=", "/path?state=the-state&error=x&iss=accounts"})
    EXPECT_TRUE(std::holds_alternative<ForeignIssuer>(readCallback(request(target), expected))) << target;
}

TEST(CallbackRequest, WrongOrMissingOrRepeatedStatesAreStray) {
  for (const auto* target :
       {"/path?state=other-one&code=c", "/path?code=c", "/path?state=&code=c", "/path", "/path?",
        "/path?state=the-stat&code=c", "/path?state=the-state2&code=c",
        "/path?state=the-state&state=the-state&code=c", "/path?state=other&error=access_denied"})
    EXPECT_EQ(strayPage(request(target)), SignInPage::badRequest) << target;
}

TEST(CallbackRequest, RepeatedParametersCodeWithErrorAndNeitherAreStray) {
  for (const auto* target :
       {"/path?state=the-state&code=a&code=b", "/path?state=the-state&code=a&error=access_denied",
        "/path?state=the-state", "/path?state=the-state&code=", "/path?state=the-state&error=",
        "/path?state=the-state&code=a&scope=x&scope=y", "/path?state=the-state&code=%zz"})
    EXPECT_EQ(strayPage(request(target)), SignInPage::badRequest) << target;
}

TEST(CallbackRequest, OtherPathsAreNotFound) {
  for (const auto* target :
       {"/favicon.ico", "/", "/path/?state=the-state&code=c", "/pat?state=the-state&code=c",
        "//path?state=the-state&code=c", "/%70ath?state=the-state&code=c"})
    EXPECT_EQ(strayPage(request(target)), SignInPage::notFound) << target;
}

TEST(CallbackRequest, OtherMethodsAreNotAllowed) {
  for (const auto* method : {"POST", "HEAD", "OPTIONS", "PUT", "get", "DELETE"})
    EXPECT_EQ(strayPage(request("/path?state=the-state&code=c", "127.0.0.1:4242", method)),
              SignInPage::methodNotAllowed)
        << method;
}

TEST(CallbackRequest, ForeignHostsAreStray) {
  for (const auto* host : {"evil.example", "evil.example:4242", "127.0.0.1", "127.0.0.1:4243",
                           "localhost:4242", "127.0.0.1:4242.evil.example", "", "[::1]:4242"})
    EXPECT_EQ(strayPage(request("/path?state=the-state&code=c", host)), SignInPage::badRequest) << host;
}

TEST(CallbackRequest, NoHostOrTwoHostsAreStray) {
  EXPECT_EQ(strayPage("GET /path?state=the-state&code=c HTTP/1.1\r\n\r\n"), SignInPage::badRequest);
  EXPECT_EQ(strayPage("GET /path?state=the-state&code=c HTTP/1.1\r\nHost: 127.0.0.1:4242\r\nhost: "
                      "127.0.0.1:4242\r\n\r\n"),
            SignInPage::badRequest);
}

TEST(CallbackRequest, WhatIsNoRequestIsStray) {
  const std::string rest = "Host: 127.0.0.1:4242\r\n\r\n";
  const std::string target = "/path?state=the-state&code=c";
  for (const auto& text :
       {std::string("\r\n\r\n"), std::string(), "GET\r\n" + rest, "GET " + target + "\r\n" + rest,
        "GET " + target + " HTTP/2.0\r\n" + rest, "GET  " + target + " HTTP/1.1\r\n" + rest,
        "GET " + target + " x HTTP/1.1\r\n" + rest, "GET " + target + " HTTP/1.1\n" + rest,
        "GET http://127.0.0.1:4242" + target + " HTTP/1.1\r\n" + rest,
        "GET " + target + " HTTP/1.1\r\n folded\r\n" + rest,
        "GET " + target + " HTTP/1.1\r\nno colon\r\n" + rest,
        "GET " + target + " HTTP/1.1\r\n: empty\r\n" + rest,
        "GET " + target + " HTTP/1.1\r\nHost : x\r\n" + rest,
        "GET " + target + " HTTP/1.1\r\nA: b\nHost: x\r\n" + rest,
        "GET " + target + " HTTP/1.1\r\nA: " + std::string(1, '\0') + "\r\n" + rest,
        "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:4242\r\n", "GET /pa\x7Fth HTTP/1.1\r\n" + rest,
        std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n\r\n", 15)})
    EXPECT_EQ(strayPage(text), SignInPage::badRequest) << text;
}

}  // namespace
}  // namespace corvane::test
