#include "Documents.hpp"
#include "oauth/TokenResponse.hpp"

#include <gmock/gmock.h>

namespace corvane::test {
namespace {

using std::chrono::seconds;

Result<TokenResponse, std::string> parse(const std::string& text) {
  return parseTokenResponse(dataFromText(text));
}

JSONDocument with(const char* name, JSONDocument value) {
  auto tokens = goodTokens("a.b.c");
  tokens[name] = std::move(value);
  return tokens;
}

JSONDocument without(const char* name) {
  auto tokens = goodTokens("a.b.c");
  tokens.erase(name);
  return tokens;
}

TEST(TokenResponse, AllMembersAreRead) {
  const auto response = parse(goodTokens("a.b.c").dump());
  ASSERT_TRUE(response);
  EXPECT_EQ(response.value().accessToken, Secret("access-token-of-the-exchange"));
  EXPECT_EQ(response.value().refreshToken, Secret("refresh-token-of-the-exchange"));
  EXPECT_EQ(response.value().idToken, Secret("a.b.c"));
  EXPECT_EQ(response.value().lifetime, seconds{3599});
  EXPECT_THAT(*response.value().scopes, ::testing::ElementsAre("openid", "email", driveScopeText));
}

TEST(TokenResponse, AbsurdLifetimesAreBroughtIntoBounds) {
  for (const auto& [value, lifetime] : std::initializer_list<std::pair<JSONDocument, seconds>>{
           {0, seconds{0}},
           {-5, seconds{0}},
           {std::numeric_limits<std::int64_t>::min(), seconds{0}},
           {std::numeric_limits<std::uint64_t>::max(), seconds{86400}},
           {1e300, seconds{86400}},
           {3599.9, seconds{3599}},
           {"1800", seconds{1800}},
           {"-1", seconds{0}},
           {"1e99", seconds{86400}},
           {"nan", seconds{3600}},
           {"soon", seconds{3600}},
           {"", seconds{3600}},
           {"1800 ", seconds{3600}},
           {nullptr, seconds{3600}},
           {true, seconds{3600}},
           {JSONDocument::object(), seconds{3600}}}) {
    const auto response = parse(with("expires_in", value).dump());
    ASSERT_TRUE(response) << value;
    EXPECT_EQ(response.value().lifetime, lifetime) << value;
  }
  EXPECT_EQ(parse(without("expires_in").dump()).value().lifetime, seconds{3600});
}

TEST(TokenResponse, OnlyBearerTokensAreTakenInWhateverCase) {
  EXPECT_TRUE(parse(with("token_type", "bearer").dump()));
  EXPECT_TRUE(parse(with("token_type", "BEARER").dump()));
  for (const auto& document : {with("token_type", "mac"), with("token_type", ""), with("token_type", nullptr),
                               with("token_type", "Bearer2"), without("token_type")})
    EXPECT_EQ(parse(document.dump()).error(), "its token_type is not Bearer") << document;
}

TEST(TokenResponse, OneWithoutAnAccessTokenIsRefused) {
  for (const auto& document : {without("access_token"), with("access_token", ""), with("access_token", 7),
                               with("access_token", nullptr), with("access_token", JSONDocument::array())})
    EXPECT_EQ(parse(document.dump()).error(), "it has no access_token") << document;
}

TEST(TokenResponse, AnAccessTokenThatWouldSplitAHeaderIsRefused) {
  for (const auto* token : {"a\r\nX: y", "a b", "a\n", "\x7f", "\u00e9"})
    EXPECT_EQ(parse(with("access_token", token).dump()).error(),
              "its access_token has characters that no token has");
}

TEST(TokenResponse, WhatIsNoObjectIsRefused) {
  for (const auto& text :
       {std::string(), std::string("null"), std::string("[]"), std::string("\"x\""),
        std::string("<html></html>"), std::string("{\"access_token\":\"x\""), goodTokens("x").dump() + "x",
        std::string("{\"a\":1e400}"), std::string("{\"a\":\"\xff\"}"),
        "{\"a\":\"" + std::string(300'000, 'x') + "\"}", std::string(200'000, '[')})
    EXPECT_EQ(parse(text).error(), "it is not a JSON object");
}

TEST(TokenResponse, NothingMayFollowTheObject) {
  using namespace std::string_literals;
  for (const auto& rest : {",\"x\""s, "]"s, ",\"x\"]"s, "\0"s, ",\"x\"]\0rest"s})
    EXPECT_EQ(parse(goodTokens("x").dump() + rest).error(), "it is not a JSON object") << rest;
}

TEST(TokenResponse, MissingMembersAreEmptyAndAnEmptyScopeGrantsNothing) {
  const auto response = parse(R"({"access_token":"t","token_type":"Bearer"})");
  ASSERT_TRUE(response);
  EXPECT_TRUE(response.value().refreshToken.empty());
  EXPECT_TRUE(response.value().idToken.empty());
  EXPECT_EQ(response.value().scopes, std::nullopt);
  EXPECT_TRUE(parse(with("scope", "").dump()).value().scopes->empty());
  EXPECT_THAT(*parse(with("scope", "  a  b ").dump()).value().scopes, ::testing::ElementsAre("a", "b"));
}

TEST(TokenResponse, TheFirstOfTwoMembersOfOneNameCounts) {
  EXPECT_EQ(
      parse(R"({"access_token":"first","token_type":"Bearer","access_token":"second"})").value().accessToken,
      Secret("first"));
}

}  // namespace
}  // namespace corvane::test
